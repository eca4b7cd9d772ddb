/* repeatWork WORK TIMES: does one piece of work so many times. Counting instructions for two different TIMES and
 * dividing the difference by the difference gives the instructions of one. */
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "parseWork.h"

int main(int argc, char** argv) {
    const std::string_view work = argc == 3 ? argv[1] : "";
    const long times = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (times < 1 || (work != "parse" && work != "raw")) {
        std::cerr << "usage: repeatWork parse|raw TIMES\n";
        return 2;
    }
    std::string document = backupDocument();
    parseAndDelete(document);
    for (long i = 0; i < times; ++i) {
        if (work == "raw")
            parseAndIgnore(document);
        else
            parseAndDelete(document);
    }
    return 0;
}
