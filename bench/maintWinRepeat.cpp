/* maintWinRepeat library|dayByDay QUESTION TIMES: asks one question so many times. Counting instructions for two
 * different TIMES and dividing the difference by the difference gives the instructions of one. */
#include <iostream>
#include <string_view>

#include "maintWinWork.h"

int main(int argc, char** argv) {
    const std::string_view way = argc == 4 ? argv[1] : "";
    const long times = argc == 4 ? std::strtol(argv[3], nullptr, 10) : 0;
    if (times < 1 || (way != "library" && way != "dayByDay")) {
        std::cerr << "usage: maintWinRepeat library|dayByDay QUESTION TIMES\n";
        return 2;
    }
    maintWinWork::setZone("Europe/Berlin");
    const maintWinWork::Question asked = maintWinWork::question(argv[2]);
    const int64_t answer = maintWinWork::askLibrary(asked);
    for (long i = 0; i < times; ++i) {
        if ((way == "library" ? maintWinWork::askLibrary(asked) : maintWinWork::askDayByDay(asked)) != answer) {
            std::cerr << "the answers differ\n";
            return 1;
        }
    }
    return 0;
}
