#include "console/terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace kelpolicy {
namespace {

/* Over what stands in the line. */
void overwrite(const std::string& text) {
    std::fputs(("\r" + text).c_str(), stderr);
    std::fflush(stderr);
}

}  // namespace

std::optional<size_t> terminalWidth() {
    winsize size = {};
    const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? std::optional<size_t>(size.ws_col) : std::nullopt;
}

bool canAsk() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

bool ask(const std::string& question) {
    std::fflush(stdout);
    writeText(stderr, question + " [y/N] ");
    std::fflush(stderr);
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

Progress::Progress(const Output& output, std::string what, size_t total)
    : what_(std::move(what)), total_(total), shown_(!output.isJson() && ::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (width_ > 0) overwrite(std::string(width_, ' ') + "\r");
}

void Progress::step() {
    ++done_;
    if (!shown_) return;
    const std::string text = fmt::format("{} {} of {}", what_, done_, total_);
    width_ = text.size();
    overwrite(text);
}

}  // namespace kelpolicy
