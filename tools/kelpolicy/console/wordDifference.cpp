#include "console/wordDifference.h"

#include <algorithm>
#include <cstdint>

namespace kelpolicy {
namespace {

struct Word {
    std::string_view text;
    std::string_view blanks; /* behind it */
};

std::vector<Word> wordsOf(std::string_view text) {
    std::vector<Word> words;
    while (!text.empty()) {
        const size_t end = std::min(text.find(' '), text.size());
        const size_t next = std::min(text.find_first_not_of(' ', end), text.size());
        words.push_back({text.substr(0, end), text.substr(end, next - end)});
        text.remove_prefix(next);
    }
    return words;
}

using Words = std::vector<Word>;

/* lengths[i][j]: words that before[i..] and after[j..] have in common, in order. */
std::vector<std::vector<uint32_t>> commonLengths(const Words& before, const Words& after) {
    std::vector<std::vector<uint32_t>> lengths(before.size() + 1, std::vector<uint32_t>(after.size() + 1));
    for (size_t i = before.size(); i-- > 0;)
        for (size_t j = after.size(); j-- > 0;)
            lengths[i][j] = before[i].text == after[j].text ? lengths[i + 1][j + 1] + 1
                                                            : std::max(lengths[i + 1][j], lengths[i][j + 1]);
    return lengths;
}

class Parts {
public:
    void keep(const Word& word) {
        flush();
        append(kept_, word);
    }
    void remove(const Word& word) { change(removed_, word); }
    void add(const Word& word) { change(added_, word); }

    std::vector<DifferencePart> take() {
        finishKept();
        flush();
        return std::move(parts_);
    }

private:
    static void append(std::string& text, const Word& word) { text.append(word.text).append(word.blanks); }

    void change(std::string& text, const Word& word) {
        finishKept();
        append(text, word);
    }
    void finish(DifferencePart::Kind kind, std::string& text) {
        if (!text.empty()) parts_.push_back({kind, std::move(text)});
        text.clear();
    }
    void finishKept() { finish(DifferencePart::kept, kept_); }
    void flush() {
        finish(DifferencePart::removed, removed_);
        finish(DifferencePart::added, added_);
    }

    std::string kept_{};
    std::string removed_{};
    std::string added_{};
    std::vector<DifferencePart> parts_{};
};

}  // namespace

std::vector<DifferencePart> wordDifference(std::string_view before, std::string_view after) {
    constexpr size_t mostPairs = 4'000'000;  // beyond what a record of the log can hold
    const Words old = wordsOf(before);
    const Words now = wordsOf(after);
    Parts parts;
    size_t i = 0;
    size_t j = 0;
    if (old.size() <= mostPairs / std::max<size_t>(now.size(), 1)) {
        const auto lengths = commonLengths(old, now);
        while (i < old.size() && j < now.size()) {
            if (old[i].text == now[j].text) {
                parts.keep(now[j]);
                ++i;
                ++j;
            } else if (lengths[i + 1][j] >= lengths[i][j + 1]) {
                parts.remove(old[i++]);
            } else {
                parts.add(now[j++]);
            }
        }
    }
    while (i < old.size()) parts.remove(old[i++]);
    while (j < now.size()) parts.add(now[j++]);
    return parts.take();
}

}  // namespace kelpolicy
