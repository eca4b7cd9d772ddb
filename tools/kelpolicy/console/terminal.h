/* A person at a terminal. */
#ifndef KELPOLICY_TERMINAL_H
#define KELPOLICY_TERMINAL_H

#include <cstddef>
#include <optional>
#include <string>

#include "console/output.h"

namespace kelpolicy {

/* Columns of the terminal that standard output is; nothing where it is none, or does not tell. */
std::optional<size_t> terminalWidth();

/* Whether a question can be asked: standard input and standard error are terminals. */
bool canAsk();

/* Asks on standard error; true when the answer is yes. REQUIRES: canAsk(). */
bool ask(const std::string& question);

/* Shows on standard error how far a command is, and leaves nothing behind: only on a terminal, and not with --json. */
class Progress {
public:
    /* `what` is harmless on a terminal. */
    Progress(const Output& output, std::string what, size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void step();

private:
    std::string what_;
    size_t total_;
    size_t done_ = 0;
    size_t width_ = 0; /* of what stands there */
    bool shown_;
};

}  // namespace kelpolicy

#endif
