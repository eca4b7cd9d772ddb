/* maintWinWorst draw|climb|ask SEED COUNT: looks for the question about a window that costs most processor time.
 *
 * draw asks so many questions drawn at random, climb changes the worst of some as long as that makes it worse, for so
 * many seconds; both print the worst they met. ask asks the question that draw would ask as its COUNTth, for a counter
 * of instructions. */
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <string_view>

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
    const char* zone;
};

class Draw {
public:
    explicit Draw(uint64_t seed) : random_(seed) {}

    Question question() {
        Question drawn = {maintWinCases::dailyWindow({0, 0, 0}, {0, 0, 0}), 1715767200, 0, ""};
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
                asked.zone = zones[upTo(int{std::size(zones)})];
        }
    }

    std::mt19937_64 random_;
};

double processorTime() {
    timespec spent{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
    return static_cast<double>(spent.tv_sec) + static_cast<double>(spent.tv_nsec) * 1e-9;
}

double timeOf(const Question& asked) {
    const maintWinCases::ZoneScope zone(asked.zone);
    OSSTime start = {};
    OSSTime end = {};
    const double before = processorTime();
    sqlpiFindMaintWindow(&asked.info, {asked.now, 0}, asked.minDuration, &start, &end);
    return processorTime() - before;
}

void print(double time, const Question& asked) {
    const auto shown = [](const auto& mask) {
        std::string text;
        for (const bool flag : mask) text += flag ? '1' : '0';
        return text;
    };
    const sqlpiMaintWindowInfo& info = asked.info;
    std::printf(
        "%.6f s: weekdays %s, months %s, days %s, %02d:%02d:%02d to %02d:%02d:%02d%s, %d/%d to %d/%d, minimum %d, %s\n",
        time, shown(info.dayOfWeek).c_str(), shown(info.monthOfYear).c_str(), shown(info.dayOfMonth).c_str(),
        info.startTime.hour, info.startTime.minute, info.startTime.second, info.endTime.hour, info.endTime.minute,
        info.endTime.second, info.outside == 0 ? "" : ", outside", info.startDateTime.year, info.startDateTime.month,
        info.endDateTime.year, info.endDateTime.month, asked.minDuration, asked.zone);
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
    if (count < 1 || (way != "draw" && way != "climb" && way != "ask")) {
        std::fputs("usage: maintWinWorst draw|climb|ask SEED COUNT\n", stderr);
        return 2;
    }
    Draw draw(std::strtoull(argv[2], nullptr, 10));
    if (way == "climb") {
        climb(draw, static_cast<double>(count));
        return 0;
    }
    Question worst = draw.question();
    double time = way == "draw" ? timeOf(worst) : 0;
    for (long i = 1; i < count; ++i) {
        const Question next = draw.question();
        if (way == "ask") {
            worst = next;
        } else if (timeOf(next) > time) {
            if (const double again = timeOf(next); again > time) {
                time = again;
                worst = next;
                std::printf("%ld: ", i + 1);
                print(time, worst);
            }
        }
    }
    if (way == "ask") print(timeOf(worst), worst);
    return 0;
}
