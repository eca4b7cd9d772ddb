#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "commandLine.h"

namespace {

/* A standard file that is closed would become the next file that is opened, a log or the database, and take the answer.
 * It is opened in the direction in which nobody uses it, so that to use it still fails. */
bool openStandardFiles() {
    for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(file, F_GETFD) >= 0) continue;
        if (::open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY) != file) return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) try {
    return openStandardFiles() ? kelpolicy::runCommandLine(argc, argv) : kelpolicy::exitFailed;
} catch (...) {  // there was no memory to say so in more words
    std::fputs("kelpolicy: there is not enough memory\n", stderr);
    return kelpolicy::exitFailed;
}
