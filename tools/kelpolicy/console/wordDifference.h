/* What changed between two texts, word by word. */
#ifndef KELPOLICY_WORD_DIFFERENCE_H
#define KELPOLICY_WORD_DIFFERENCE_H

#include <string>
#include <string_view>
#include <vector>

namespace kelpolicy {

struct DifferencePart {
    enum Kind { kept, removed, added };
    Kind kind;
    std::string text; /* words, with the blanks behind them */

    bool operator==(const DifferencePart&) const = default;
};

/* As few words as possible are removed and added; neighbouring parts are of different kinds, what is removed stands
 * before what is added in its place. Words of kept parts have the blanks of the text after. */
std::vector<DifferencePart> wordDifference(std::string_view before, std::string_view after);

}  // namespace kelpolicy

#endif
