/* The end of a process that a test made for itself. */
#ifndef TESTS_UNIT_END_PROCESS_H
#define TESTS_UNIT_END_PROCESS_H

#include <unistd.h>

extern "C" void __gcov_dump() __attribute__((weak));  // NOLINT(bugprone-reserved-identifier): the compiler's name

/* Runs nothing that waits for the end; what coverage has counted is kept. */
[[noreturn]] inline void endProcess(int status) {
    if (__gcov_dump != nullptr) __gcov_dump();
    _exit(status);
}

#endif
