#pragma once

#include <functional>

#include <pthread.h>

#include <gtest/gtest.h>

namespace obg::test {

/** Runs the function on a thread whose stack is far too small for a call for each level of a deep tree. */
inline void runOnASmallStack(std::function<void()> function)
{
    constexpr std::size_t kStackSize = 256UL * 1024;
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStackSize), 0);
    const auto call = [](void* toRun) -> void* {
        (*static_cast<std::function<void()>*>(toRun))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, call, &function), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

} // namespace obg::test
