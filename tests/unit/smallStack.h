/* Runs on a thread whose stack is as small as an engine's processes may have. */
#ifndef TESTS_UNIT_SMALL_STACK_H
#define TESTS_UNIT_SMALL_STACK_H

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

template <class Work>
void onSmallStack(Work work, size_t size = size_t{64} << 10) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<Work*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

#endif
