#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "platform/errors.h"
#include "platform/native_thread.h"
#include "platform/waitable.h"

namespace {

using namespace mcgate::platform;
using Start = NativeThread::Start;

TEST(NativeThread, ASuspendedOneRunsWhenItIsResumed) {
    std::atomic<bool> ran{false};
    NativeThread thread([&] { ran = true; }, Start::Suspended);
    EXPECT_TRUE(thread.setPriority(2)) << "refused or not, that is no failure";
    thread.wait();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(thread.resume());
    EXPECT_FALSE(thread.resume());
    EXPECT_EQ(lastError(), ErrorInvalidHandle);
    thread.wait();
    EXPECT_TRUE(ran);
    thread.wait();
    EXPECT_FALSE(thread.setPriority(15)) << "it has ended";
}

TEST(NativeThread, OneThatWasNeverResumedIsDiscarded) {
    auto witness = std::make_shared<int>(0);
    {
        const NativeThread thread([witness] { ++*witness; }, Start::Suspended);
        EXPECT_EQ(witness.use_count(), 2);
    }
    EXPECT_EQ(*witness, 0);
    EXPECT_EQ(witness.use_count(), 1) << "its body is gone with it";
}

TEST(NativeThread, OneThatStillRunsOutlivesItsObject) {
    // Shared, since nobody joins: the thread may still be inside set() when the wait for it returns.
    const auto go = std::make_shared<Event>(Event::Reset::Manual);
    const auto done = std::make_shared<Event>(Event::Reset::Manual);
    {
        const NativeThread thread(
            [go, done] {
                wait(*go, kInfinite);
                done->set();
            },
            Start::Running);
    }
    go->set();
    EXPECT_TRUE(wait(*done, 20'000));
}

TEST(NativeThread, WaitingForOneselfReturnsAtOnce) {
    Event ready(Event::Reset::Manual);
    Event done(Event::Reset::Manual);
    std::unique_ptr<NativeThread> thread;
    thread = std::make_unique<NativeThread>(
        [&] {
            wait(ready, kInfinite);
            thread->wait();
            done.set();
        },
        Start::Running);
    ready.set();
    EXPECT_TRUE(wait(done, 20'000));
    thread->wait();
}

}  // namespace
