/* Runs a program and keeps what it says. */
#ifndef TESTS_SCENARIO_RUN_PROGRAM_H
#define TESTS_SCENARIO_RUN_PROGRAM_H

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace scenario {

struct Outcome {
    int status = -1; /* exit status; 128 + n when signal n ended it */
    std::string out{};
    std::string err{}; /* empty where both go to a terminal */
};

struct Surroundings {
    std::map<std::string, std::optional<std::string>> environment{}; /* set, or without a value removed */
    std::string input{};                                             /* of standard input, then its end */
    std::string outputFile{};                             /* standard output goes here; empty: it is kept in `out` */
    std::vector<int> closed{};                            /* descriptors that the program starts without */
    std::optional<unsigned> user{};                       /* user and group number to run as */
    size_t stackKilobytes = 0;                            /* limit of the stack; 0: as it is */
    std::optional<size_t> fileBytes{};                    /* limit of the files that it writes */
    std::optional<std::chrono::microseconds> killAfter{}; /* then the program is killed, wherever it stands */
    std::function<std::string()> answer{}; /* on a terminal: what is typed when the program waits behind "] " */
};

/* The first word is the program's path. Throws std::system_error when it cannot be started. */
Outcome runProgram(const std::vector<std::string>& words, const Surroundings& surroundings = {});

/* The same with all three standard files on a terminal; line ends come back as "\r\n". */
Outcome runOnTerminal(const std::vector<std::string>& words, const Surroundings& surroundings = {});

}  // namespace scenario

#endif
