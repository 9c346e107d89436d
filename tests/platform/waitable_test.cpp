#include "platform/waitable.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace mcgate::platform;

TEST(Waitable, TheFirstInTheListWinsAndIsTheOnlyOneTaken) {
    Event automatic(Event::Reset::Automatic);
    Event manual(Event::Reset::Manual);
    Semaphore semaphore;
    automatic.set();
    manual.set();
    semaphore.release();
    EXPECT_EQ(waitAny({&automatic, &semaphore, &manual}, 0), 0);
    EXPECT_EQ(waitAny({&automatic, &semaphore, &manual}, 0), 1);
    EXPECT_EQ(waitAny({&automatic, &semaphore, &manual}, kInfinite), 2);
    EXPECT_EQ(waitAny({&automatic, &semaphore, &manual}, 0), 2) << "a manual event stays on";
    manual.reset();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(waitAny({&automatic, &semaphore, &manual}, 20), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST(Waitable, NoCountIsLostBetweenManyThreads) {
    constexpr int kEach = 20'000;
    Semaphore semaphore;
    Event stop(Event::Reset::Manual);
    std::atomic<int> taken{0};
    const auto produce = [&] {
        for (int i = 0; i < kEach; ++i) semaphore.release();
    };
    const auto take = [&] {
        while (waitAny({&semaphore, &stop}, kInfinite) == 0) ++taken;
    };
    std::thread takers[] = {std::thread(take), std::thread(take)};
    std::thread producers[] = {std::thread(produce), std::thread(produce)};
    for (auto& one : producers) one.join();
    stop.set();  // behind the semaphore in the list: what was produced is taken first
    for (auto& one : takers) one.join();
    EXPECT_EQ(taken.load(), 2 * kEach);
}

TEST(Waitable, AnAutomaticEventWakesOneSleeperEachTime) {
    Event ping(Event::Reset::Automatic);
    Event pong(Event::Reset::Automatic);
    constexpr int kRounds = 2000;
    std::thread other([&] {
        for (int i = 0; i < kRounds; ++i) {
            ASSERT_TRUE(wait(ping, 20'000));
            pong.set();
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        ping.set();
        ASSERT_TRUE(wait(pong, 20'000)) << "round " << i;
    }
    other.join();
}

}  // namespace
