/* Locks of a process that forks. Internal. */
#ifndef SQLPI_FORKS_H
#define SQLPI_FORKS_H

#include <pthread.h>

#include <mutex>

/* Holds `mutex` for a scope. From its first use on, a fork waits until the mutex is free, so that the child finds it
 * free and what it guards whole. Who holds it may not fork, or take another mutex of this kind. */
template <std::mutex& mutex>
class sqlpiForkSafeLock {
public:
    sqlpiForkSafeLock() {
        static constinit std::once_flag first;
        std::call_once(first,
                       [] { pthread_atfork([] { mutex.lock(); }, [] { mutex.unlock(); }, [] { mutex.unlock(); }); });
        mutex.lock();
    }
    ~sqlpiForkSafeLock() { mutex.unlock(); }
    sqlpiForkSafeLock(const sqlpiForkSafeLock&) = delete;
    sqlpiForkSafeLock& operator=(const sqlpiForkSafeLock&) = delete;
};

#endif
