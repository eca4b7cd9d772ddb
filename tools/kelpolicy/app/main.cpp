#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "app/commandLine.h"
#include "console/output.h"

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

struct Run {
    int argc;
    char** argv;
    int status = kelpolicy::exitFailed;
};

void* run(void* argument) noexcept {
    Run& run = *static_cast<Run*>(argument);
    try {
        run.status = kelpolicy::runCommandLine(run.argc, run.argv);
    } catch (...) {  // there was no memory to say so in more words
        std::fputs("kelpolicy: there is not enough memory\n", stderr);
    }
    return nullptr;
}

/* Where the process has less of a stack than every command needs, the command runs on one of its own. */
int runOnStack(Run work) {
    constexpr size_t leastStack = size_t{512} << 10;
    rlimit limit{};
    if (::getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= leastStack) {
        run(&work);
        return work.status;
    }
    pthread_attr_t attributes;
    pthread_t thread{};
    if (::pthread_attr_init(&attributes) != 0 || ::pthread_attr_setstacksize(&attributes, leastStack) != 0 ||
        ::pthread_create(&thread, &attributes, run, &work) != 0 || ::pthread_join(thread, nullptr) != 0)
        std::fputs("kelpolicy: there is not enough memory\n", stderr);
    return work.status;
}

}  // namespace

int main(int argc, char** argv) {
    if (!openStandardFiles()) return kelpolicy::exitFailed;
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a failure that is told
    return runOnStack({argc, argv});
}
