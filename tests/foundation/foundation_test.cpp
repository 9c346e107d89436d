#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/callback_slot.h"
#include "foundation/com_exception.h"
#include "foundation/critical_section_guard.h"
#include "foundation/exceptions.h"
#include "foundation/format_text.h"
#include "foundation/log_perf.h"
#include "foundation/semaphore_queue.h"
#include "foundation/status.h"
#include "foundation/winsock22_init.h"
#include "platform/process/process.h"
#include "support/eventually.h"
#include "support/failure_of.h"
#include "support/recording_log.h"

namespace {

using namespace mcgate::foundation;

TEST(Status, ErrorNumbersAndExceptionsBecomeStatuses) {
    const std::pair<std::int32_t, std::uint32_t> numbers[] = {
        {0, 0}, {5, 0x80070005}, {10013, 0x8007271D}, {0x12345, 0x80072345}, {-2147467259, 0x80004005}};
    for (const auto& [error, status] : numbers) EXPECT_EQ(HRESULT_FROM_WIN32(error), makeStatus(status));
    const auto statusOf = [](auto&& raise) {
        try {
            raise();
        } catch (...) {
            return statusOfCurrentException();
        }
        return S_OK;
    };
    EXPECT_EQ(statusOf([] { throw COMException(E_POINTER); }), E_POINTER);
    EXPECT_EQ(statusOf([] { throw COMException(S_FALSE); }), E_FAIL) << "something failed, whatever it carries";
    EXPECT_EQ(statusOf([] { throw quorvel::system::com_utils::v1::COMException(E_NOTIMPL); }), E_NOTIMPL);
    EXPECT_EQ(statusOf([] { ThrowStatus(E_UNEXPECTED); }), E_UNEXPECTED);
    EXPECT_EQ(statusOf([] { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(statusOf([] { throw quorvel::cpp_utils::exception_utils::v1::ExceptionTemplate<int>("x"); }), E_FAIL);
    EXPECT_EQ(statusOf([] { throw std::runtime_error("x"); }), E_FAIL);
    EXPECT_EQ(statusOf([] { throw 5; }), E_FAIL);
}

TEST(Status, EveryCodeThatIsRaisedHasAText) {
    for (const HRESULT known : {VFW_S_NO_STOP_TIME, CLASS_E_NOAGGREGATION, VFW_E_ENUM_OUT_OF_SYNC, VFW_E_FILTER_ACTIVE,
                                VFW_E_NO_TYPES, VFW_E_START_TIME_AFTER_END, HRESULT_FROM_WIN32(5),
                                HRESULT_FROM_WIN32(31), HRESULT_FROM_WIN32(10048), HRESULT_FROM_WIN32(10065)}) {
        EXPECT_NE(GetStatusText(known), "Invalid error code") << std::hex << known;
    }
    EXPECT_EQ(GetStatusText(makeStatus(0x80070057)), "Invalid argument");
    EXPECT_EQ(GetStatusText(makeStatus(0x8BADF00D)), "Invalid error code");
}

TEST(ComException, BuildsItsTextWhenAsked) {
    const COMException own(makeStatus(0x80250001));
    EXPECT_STREQ(own.BuildMessage(), "Internal error");
    for (int i = 0; i < 2; ++i) EXPECT_STREQ(own.what(), "Quorvel Error 80250001: Internal error");
    EXPECT_STREQ(COMException(1).what(), "COM Error 1: Invalid error code");
    EXPECT_STREQ(COMException(E_FAIL).what(), "COM Error 80004005: Unspecified failure");
    EXPECT_STREQ(COMException(makeStatus(0x80250000)).what(), "Quorvel Error 80250000: No error");
}

// A versioned handler takes typed exceptions only.
using Versioned = quorvel::cpp_utils::exception_utils::v1::QuorvelException;
static_assert(!std::is_base_of_v<Versioned, COMException> && std::is_base_of_v<QuorvelException, COMException>);
static_assert(std::is_base_of_v<Versioned, quorvel::cpp_utils::exception_utils::v1::ExceptionTemplate<int>>);

TEST(Winsock22Init, AnotherVersionIsReleasedAndRefused) {
    static int cleanups = 0;
    cleanups = 0;
    const mcgate::platform::SocketLibrary old{[](std::uint16_t, std::uint16_t& provided) {
                                                  provided = 0x0102;
                                                  return 0;
                                              },
                                              [] { ++cleanups; }};
    const mcgate::platform::SocketLibrary broken{[](std::uint16_t, std::uint16_t&) { return 10091; },
                                                 [] { ++cleanups; }};
    using quorvel::cpp_utils::raii::v1::Winsock22Init;
    EXPECT_EQ(test::failureOf([&] { const Winsock22Init start(old); }), "unable to initialize Winsock 2.2");
    EXPECT_EQ(cleanups, 1);
    EXPECT_ANY_THROW(const Winsock22Init start(broken));
    EXPECT_EQ(cleanups, 1) << "what did not start is not released";
}

TEST(LogPerf, AHostSeesFinishedLinesAndTheFallbackWritesTwoOutputs) {
    quorvel::log::log_perf::v4::SmartLogPerf<quorvel::log::log_perf::v4::DummyLogPerf> log;
    test::RecordingLog host;
    log.plug(&host);
    log.Log(1, "%s is %d%%", std::string(300, 'x').c_str(), 5);
    log.Log(2, "no arguments");
    ASSERT_EQ(host.lines().size(), 2U);
    EXPECT_EQ(host.lines()[0].format, "%s");
    EXPECT_EQ(host.lines()[0].text, std::string(259, 'x'));
    EXPECT_EQ(host.lines()[1].format, "%s");
    log.plug(nullptr);
    std::vector<std::string> written;
    mcgate::process::setDebugHook(
        [](void* context, const char* text) { static_cast<std::vector<std::string>*>(context)->emplace_back(text); },
        &written);
    log.Log(0, "%s", "100% lost");
    mcgate::process::setDebugHook(nullptr, nullptr);
    EXPECT_EQ(written, (std::vector<std::string>{"100% lost", "\n"}));
    EXPECT_EQ(FormatText(nullptr), "");
    EXPECT_EQ(FormatText("%s", std::string(1000, 'y').c_str()).size(), 1000U);
}

TEST(SemaphoreQueue, TheStopEventWinsAndTheItemStays) {
    SemaphoreQueue<int> queue;
    mcgate::platform::Event stop(mcgate::platform::Event::Reset::Automatic);
    int out = 0;
    EXPECT_FALSE(queue.tryPop(out));
    queue.push(1);
    queue.push(2);
    stop.set();
    EXPECT_FALSE(queue.pop(out, stop));
    EXPECT_TRUE(queue.pop(out, stop));
    EXPECT_EQ(out, 1);
    EXPECT_TRUE(queue.tryPop(out));
    EXPECT_EQ(out, 2);
}

TEST(SemaphoreQueue, ManyTakersGetEveryItemOnce) {
    constexpr int kItems = 20'000;
    SemaphoreQueue<int> queue;
    mcgate::platform::Event stop(mcgate::platform::Event::Reset::Manual);
    std::vector<std::atomic<int>> seen(2 * kItems);
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int taker = 0; taker < 3; ++taker) {
        threads.emplace_back([&, taker] {
            int item = 0;
            while (taker == 0 ? queue.tryPop(item) || !mcgate::platform::wait(stop, 0) : queue.pop(item, stop)) {
                if (item == 0) continue;  // nothing was there
                ++seen[static_cast<std::size_t>(std::exchange(item, 0) - 1)];
                ++taken;
            }
        });
    }
    for (int producer = 0; producer < 2; ++producer) {
        threads.emplace_back([&queue, producer] {
            for (int i = 0; i < kItems; ++i) queue.push(producer * kItems + i + 1);
        });
    }
    EXPECT_TRUE(test::eventually([&] { return taken == 2 * kItems; })) << "a taker sleeps beside an entry";
    stop.set();
    for (auto& thread : threads) thread.join();
    for (const auto& count : seen) ASSERT_EQ(count, 1);
}

TEST(CriticalSectionGuard, LeavesOnceHoweverOftenItIsAsked) {
    mcgate::platform::CriticalSection section;
    const auto isFree = [&section] {
        return std::async(std::launch::async,
                          [&section] {
                              const bool got = section.try_lock();
                              if (got) section.unlock();
                              return got;
                          })
            .get();
    };
    section.lock();
    {
        mcgate::foundation::CriticalSectionGuard guard(section);
        guard.Unlock();
        guard.Unlock();
        EXPECT_FALSE(isFree()) << "the outer hold stays";
    }
    EXPECT_FALSE(isFree());
    section.unlock();
    EXPECT_TRUE(isFree());
}

struct Gate {
    std::promise<void> entered;
    std::promise<void> leave;
};

TEST(CallbackSlot, AReplacedCallbackIsWaitedForAndNotCalledAgain) {
    CallbackSlot<Gate> slot;
    Gate gate;
    slot.set(&gate);
    std::atomic<bool> ended{false};
    std::thread caller([&] {
        slot.invoke([&](Gate& one) {
            one.entered.set_value();
            one.leave.get_future().wait();
            ended = true;
        });
        slot.invoke([](Gate&) { FAIL() << "it was taken away"; });
    });
    gate.entered.get_future().wait();
    std::thread releaser([&] {
        while (slot.get() != nullptr) std::this_thread::yield();  // the setter has replaced it, and now waits
        gate.leave.set_value();
    });
    const auto begin = std::chrono::steady_clock::now();
    slot.set(nullptr);
    EXPECT_TRUE(ended || std::chrono::steady_clock::now() - begin >= CallbackSlot<Gate>::kLongestWait);
    releaser.join();
    caller.join();
    int calls = 0;
    CallbackSlot<int> self;
    self.set(&calls);
    self.invoke([&self](int& count) {
        ++count;
        self.set(nullptr);  // does not wait for itself
    });
    self.invoke([](int& count) { ++count; });
    EXPECT_EQ(calls, 1);
}

}  // namespace
