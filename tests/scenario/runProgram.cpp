#include "runProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace scenario {
namespace {

[[noreturn]] void failed(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct Pipe {
    Pipe() {
        if (::pipe2(ends, O_CLOEXEC) != 0) failed("pipe");
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void closeRead() { close(0); }
    void closeWrite() { close(1); }
    void close(size_t end) {
        if (ends[end] >= 0) ::close(ends[end]);
        ends[end] = -1;
    }

    int ends[2] = {-1, -1};
};

/* In the child: becomes the program, or ends with status 127. */
[[noreturn]] void become(const std::vector<std::string>& words, const Surroundings& surroundings) {
    for (const auto& [name, value] : surroundings.environment)
        value.has_value() ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    if (!surroundings.outputFile.empty()) {
        const int file = ::open(surroundings.outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (file < 0 || ::dup2(file, STDOUT_FILENO) < 0) ::_exit(127);
    }
    if (surroundings.stackKilobytes != 0) {
        const rlimit limit = {surroundings.stackKilobytes * 1024, surroundings.stackKilobytes * 1024};
        if (::setrlimit(RLIMIT_STACK, &limit) != 0) ::_exit(127);
    }
    if (surroundings.fileBytes.has_value()) {
        const rlimit limit = {*surroundings.fileBytes, *surroundings.fileBytes};
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) ::_exit(127);
    }
    if (surroundings.user.has_value() && (::setgid(*surroundings.user) != 0 || ::setuid(*surroundings.user) != 0))
        ::_exit(127);
    for (const int descriptor : surroundings.closed) ::close(descriptor);
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments.front(), arguments.data());
    ::_exit(127);
}

int waitFor(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        if (errno != EINTR) failed("waitpid");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/* Appends what can be read now; false at the end. */
bool readSome(int descriptor, std::string& text) {
    std::array<char, 65536> part;
    const ssize_t done = ::read(descriptor, part.data(), part.size());
    if (done > 0) text.append(part.data(), static_cast<size_t>(done));
    return done > 0 || (done < 0 && errno == EINTR);
}

/* Feeds standard input and takes both outputs, whichever is ready, so that no side waits for the other. */
void exchange(Pipe& in, Pipe& out, Pipe& err, std::string input, Outcome& outcome) {
    ::fcntl(in.ends[1], F_SETFL, O_NONBLOCK);
    while (out.ends[0] >= 0 || err.ends[0] >= 0) {
        if (input.empty()) in.closeWrite();
        std::array<pollfd, 3> ready = {{{out.ends[0], POLLIN, 0}, {err.ends[0], POLLIN, 0}, {in.ends[1], POLLOUT, 0}}};
        if (::poll(ready.data(), ready.size(), -1) < 0 && errno != EINTR) failed("poll");
        if (ready[0].revents != 0 && !readSome(out.ends[0], outcome.out)) out.closeRead();
        if (ready[1].revents != 0 && !readSome(err.ends[0], outcome.err)) err.closeRead();
        if (ready[2].revents == 0 || in.ends[1] < 0) continue;
        const ssize_t done = ::write(in.ends[1], input.data(), input.size());
        if (done > 0) input.erase(0, static_cast<size_t>(done));
        if (done < 0 && errno != EAGAIN && errno != EINTR) input.clear();  // the program does not want more
    }
}

}  // namespace

Outcome runProgram(const std::vector<std::string>& words, const Surroundings& surroundings) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe in;
    Pipe out;
    Pipe err;
    const pid_t child = ::fork();
    if (child < 0) failed("fork");
    if (child == 0) {
        std::signal(SIGPIPE, SIG_DFL);
        if (::dup2(in.ends[0], STDIN_FILENO) < 0 || ::dup2(out.ends[1], STDOUT_FILENO) < 0 ||
            ::dup2(err.ends[1], STDERR_FILENO) < 0)
            ::_exit(127);
        become(words, surroundings);
    }
    in.closeRead();
    out.closeWrite();
    err.closeWrite();
    std::thread killer;
    if (surroundings.killAfter.has_value()) {
        killer = std::thread([child, after = *surroundings.killAfter] {
            std::this_thread::sleep_for(after);
            ::kill(child, SIGKILL);
        });
    }
    Outcome outcome;
    exchange(in, out, err, surroundings.input, outcome);
    if (killer.joinable()) killer.join();
    outcome.status = waitFor(child);
    return outcome;
}

Outcome runOnTerminal(const std::vector<std::string>& words, const Surroundings& surroundings) {
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child < 0) failed("forkpty");
    if (child == 0) become(words, surroundings);
    Outcome outcome;
    bool answered = false;
    while (readSome(terminal, outcome.out)) {
        if (answered || !surroundings.answer || !outcome.out.ends_with("] ")) continue;
        answered = true;
        const std::string answer = surroundings.answer();
        if (::write(terminal, answer.data(), answer.size()) != static_cast<ssize_t>(answer.size())) failed("write");
    }
    ::close(terminal);
    outcome.status = waitFor(child);
    return outcome;
}

}  // namespace scenario
