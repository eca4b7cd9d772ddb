/* Locks of a process that forks. */
#ifndef KELHOST_FORK_SAFE_H
#define KELHOST_FORK_SAFE_H

#include <pthread.h>

#include <mutex>

namespace kelhost {

/* From now on a fork waits until `mutex` is free, so that its child finds it free and what it guards whole. To be
 * called once; who holds the mutex may not fork, or take another one of this kind. */
template <std::mutex& mutex>
int keepAcrossForks() noexcept {
    return ::pthread_atfork([] { mutex.lock(); }, [] { mutex.unlock(); }, [] { mutex.unlock(); });
}

}  // namespace kelhost

#endif
