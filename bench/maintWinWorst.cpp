/* maintWinWorst draw|climb SEED COUNT | ask QUESTION TIMES: looks for the question about a window that costs most.
 *
 * draw asks so many questions drawn at random and prints those that took the most processor time. climb changes such a
 * one as long as that makes it worse, and prints where that ends, again and again for so many seconds. Each line begins
 * with the question as one word, which ask asks so many times, for a counter of instructions. */
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "unit/maintWinCases.h"

namespace {

constexpr const char* zones[] = {"UTC0",
                                 "Europe/Berlin",
                                 "America/New_York",
                                 "Antarctica/Troll",
                                 "Australia/Lord_Howe",
                                 "Africa/Casablanca",
                                 "Asia/Gaza",
                                 "Pacific/Apia",
                                 "America/Havana",
                                 "Asia/Tehran",
                                 "X0Y,M1.1.0/-167,M12.5.0/167",
                                 "A0B-2,M3.5.0/0,M10.5.0/0"};

struct Question {
    sqlpiMaintWindowInfo info;
    int64_t now;
    int32_t minDuration;
    int32_t zone;  // its index
};
static_assert(std::is_trivially_copyable_v<Question>);

class Draw {
public:
    explicit Draw(uint64_t seed) : random_(seed) {}

    Question question() {
        Question drawn = {maintWinCases::dailyWindow({0, 0, 0}, {0, 0, 0}), 1715767200, 0, 0};
        for (int part = 0; part < parts; ++part) change(drawn, part);
        return drawn;
    }
    void change(Question& asked) { change(asked, upTo(parts)); }

private:
    static constexpr int parts = 9;

    int upTo(int count) { return static_cast<int>(random_() % static_cast<uint64_t>(count)); }

    template <size_t Size>
    void mask(bool (&flags)[Size]) {
        const int odds = upTo(6);  // 0: one, 1: all but one, 2: all, else: each with those odds
        const int chosen = upTo(int{Size});
        for (int i = 0; i < int{Size}; ++i)
            flags[i] = odds == 0 ? i == chosen : odds == 1 ? i != chosen : odds == 2 || upTo(odds) != 0;
    }
    sqlpiMaintWindowTime time() {
        if (upTo(3) == 0) return {0, 0, 0};
        if (upTo(10) == 0)  // as in a document that nobody checked
            return {static_cast<uint8_t>(upTo(256)), static_cast<uint8_t>(upTo(256)), static_cast<uint8_t>(upTo(256))};
        return {static_cast<uint8_t>(upTo(24)), static_cast<uint8_t>(upTo(60)), static_cast<uint8_t>(upTo(60))};
    }
    int32_t duration() {
        const int days = upTo(2) == 0 ? upTo(10) : upTo(2) == 0 ? upTo(400) : upTo(24800);
        return std::max(days * 86400 + (upTo(5) - 2) * 3600, 1);
    }
    void change(Question& asked, int part) {
        sqlpiMaintWindowInfo& info = asked.info;
        switch (part) {
            case 0:
                return mask(info.monthOfYear);
            case 1:
                return mask(info.dayOfWeek);
            case 2:
                return mask(info.dayOfMonth);
            case 3:
                info.startTime = time();
                info.endTime = upTo(4) == 0 ? time() : info.startTime;
                return;
            case 4:
                asked.minDuration = duration();
                return;
            case 5:
                info.outside = upTo(4) == 0 ? 1 : 0;
                return;
            case 6:
                info.startDateTime = maintWinCases::dateTime(1970 + upTo(100), 1 + upTo(12), 2, 0, 0);
                return;
            case 7:
                info.endDateTime =
                    maintWinCases::dateTime(upTo(2) == 0 ? 9999 : 2100 + upTo(7899), 1 + upTo(12), 2, 0, 0);
                return;
            default:
                asked.zone = upTo(int{std::size(zones)});
        }
    }

    std::mt19937_64 random_;
};

double processorTime() {
    timespec spent{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
    return static_cast<double>(spent.tv_sec) + static_cast<double>(spent.tv_nsec) * 1e-9;
}

double timeOf(const Question& asked, long times = 1) {
    const maintWinCases::ZoneScope zone(zones[asked.zone]);
    OSSTime start = {};
    OSSTime end = {};
    const double before = processorTime();
    for (long i = 0; i < times; ++i) sqlpiFindMaintWindow(&asked.info, {asked.now, 0}, asked.minDuration, &start, &end);
    return processorTime() - before;
}

/* A question as a word, and back. */
std::string wordOf(const Question& asked) {
    unsigned char bytes[sizeof asked];
    std::memcpy(bytes, &asked, sizeof bytes);
    std::string word;
    for (const unsigned char byte : bytes)
        for (const int digit : {byte >> 4, byte & 15}) word += "0123456789abcdef"[digit];
    return word;
}
bool readWord(const std::string& word, Question* asked) {
    unsigned char bytes[sizeof *asked];
    if (word.size() != 2 * sizeof bytes || word.find_first_not_of("0123456789abcdef") != std::string::npos)
        return false;
    for (size_t i = 0; i < sizeof bytes; ++i)
        bytes[i] = static_cast<unsigned char>(std::stoi(word.substr(2 * i, 2), nullptr, 16));
    std::memcpy(asked, bytes, sizeof bytes);
    return asked->zone >= 0 && asked->zone < int{std::size(zones)};
}

void print(double time, const Question& asked) {
    const auto shown = [](const auto& mask) {
        std::string text;
        for (const bool flag : mask) text += flag ? '1' : '0';
        return text;
    };
    const sqlpiMaintWindowInfo& info = asked.info;
    std::printf(
        "%s %.6f s: weekdays %s, months %s, days %s, %02d:%02d:%02d to %02d:%02d:%02d%s, %d/%d to %d/%d, minimum %d, "
        "%s\n",
        wordOf(asked).c_str(), time, shown(info.dayOfWeek).c_str(), shown(info.monthOfYear).c_str(),
        shown(info.dayOfMonth).c_str(), info.startTime.hour, info.startTime.minute, info.startTime.second,
        info.endTime.hour, info.endTime.minute, info.endTime.second, info.outside == 0 ? "" : ", outside",
        info.startDateTime.year, info.startDateTime.month, info.endDateTime.year, info.endDateTime.month,
        asked.minDuration, zones[asked.zone]);
}

void draw(Draw& draw, long count) {
    constexpr size_t most = 5;
    std::vector<std::pair<double, Question>> worst;
    const auto isWorse = [](const auto& one, const auto& other) { return one.first > other.first; };
    for (long i = 0; i < count; ++i) {
        const Question next = draw.question();
        const auto isAmongThem = [&](double time) { return worst.size() < most || time > worst.back().first; };
        double time = timeOf(next);
        if (isAmongThem(time)) time = std::min(time, timeOf(next));  // not what a busy machine makes of it
        if (!isAmongThem(time)) continue;
        worst.emplace_back(time, next);
        std::sort(worst.begin(), worst.end(), isWorse);
        if (worst.size() > most) worst.pop_back();
    }
    for (const auto& [time, asked] : worst) print(time, asked);
}

void climb(Draw& draw, double seconds) {
    constexpr int firstOnes = 200;
    constexpr int mostVain = 400;
    for (const double end = processorTime() + seconds; processorTime() < end;) {
        Question worst = draw.question();
        double time = timeOf(worst);
        const auto take = [&](const Question& next) {
            if (timeOf(next) <= time * 1.02) return false;
            const double again = timeOf(next);  // not what a busy machine makes of it
            if (again <= time * 1.02) return false;
            worst = next;
            time = again;
            return true;
        };
        for (int i = 0; i < firstOnes; ++i) take(draw.question());
        for (int vain = 0; vain < mostVain && processorTime() < end; ++vain) {
            Question next = worst;
            draw.change(next);
            if (take(next)) vain = 0;
        }
        print(time, worst);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view way = argc == 4 ? argv[1] : "";
    const long count = argc == 4 ? std::strtol(argv[3], nullptr, 10) : 0;
    Question asked;
    if (count >= 1 && way == "ask" && readWord(argv[2], &asked)) {
        print(timeOf(asked, count), asked);
        return 0;
    }
    if (count < 1 || (way != "draw" && way != "climb")) {
        std::fputs("usage: maintWinWorst draw|climb SEED COUNT | ask QUESTION TIMES\n", stderr);
        return 2;
    }
    Draw questions(std::strtoull(argv[2], nullptr, 10));
    if (way == "draw") {
        draw(questions, count);
    } else {
        climb(questions, static_cast<double>(count));
    }
    return 0;
}
