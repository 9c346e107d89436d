// At steady state neither road allocates: every allocation of this program is counted.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "receiving_graph.h"
#include "sending_graph.h"
#include "support/calling_filter.h"
#include "support/plain_sockets.h"

namespace {

std::atomic<std::uint64_t> allocations{0};

void* count(std::size_t size, std::size_t alignment) {
    ++allocations;
    void* memory = alignment > alignof(std::max_align_t)
                       ? std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment)
                       : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

// Seen by the shared libraries, too: what they allocate is freed here, and must be counted alike.
#pragma GCC visibility push(default)
void* operator new(std::size_t size) { return count(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return count(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept try {
    return count(size, static_cast<std::size_t>(alignment));
} catch (const std::bad_alloc&) {
    return nullptr;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
    return count(size, 0);
} catch (const std::bad_alloc&) {
    return nullptr;
}
// Calls stay calls: GCC takes a free() that it has inlined beside a new that it hasn't for a mistake.
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
#pragma GCC visibility pop

namespace {

using namespace test;

constexpr std::uint16_t kPort = 25600;
constexpr std::int32_t kPool = 64;

/// The whole road over the loopback interface: feeder, sender, socket, receiver, counter.
struct SteadyState : testing::TestWithParam<bool> {
    const RegisteredModule& module = RegisteredModule::once();
    ComPtr<IBaseFilter> receiver = mcgate::host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
    std::atomic<std::uint64_t> arrived{0};
    ComPtr<CallingFilter> counter{
        new CallingFilter([this](IMediaSample&) { return ++arrived, S_OK; }, GetParam() ? S_OK : S_FALSE)};
    PinConnection connection{mcgate::host::findPin(*receiver, PINDIR_OUTPUT).get(), counter->GetPin(0)};
    ComPtr<FeedingFilter> feeder{new FeedingFilter(mcgate::host::transportStreamType(0), kPool)};
    ComPtr<IBaseFilter> sender = mcgate::host::create<IBaseFilter>(CLSID_CNetworkSend);
    PinConnection sending{feeder->output(), mcgate::host::findPin(*sender, PINDIR_INPUT).get()};
    std::uint64_t sent = 0;

    void SetUp() override {
        std::int32_t index = -1;
        const auto config = sender.query<ISenderConfig>();
        ASSERT_EQ(receiver.query<ISourceConfig>()->SetSource(kPort, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
        const std::uint64_t before = allocations;
        ASSERT_EQ(config->AddDestination(u"127.0.0.1", kPort, u"127.0.0.1", &index), S_OK);
        ASSERT_GT(allocations, before) << "the module's allocations are not seen";
        config->EnablePacing(0);
        for (IBaseFilter* filter : {static_cast<IBaseFilter*>(counter.get()), receiver.get(), sender.get(),
                                    static_cast<IBaseFilter*>(feeder.get())}) {
            ASSERT_EQ(filter->Run(0), S_OK);
        }
    }
    void TearDown() override {
        counter->Stop();
        receiver->Pause();
        receiver->Stop();
        sender->Stop();
        feeder->Stop();
    }
    /// Datagrams by the dozen, so that no buffer on the way overflows; the last of each waits for its successor.
    void carry(const std::vector<std::uint8_t>& bytes, const FeedOptions& options, int dozens) {
        for (int i = 0; i < dozens; ++i) {
            for (int j = 0; j < 12; ++j) ASSERT_EQ(feeder->deliver(bytes, options), S_OK);
            sent += 12;
            ASSERT_TRUE(eventually([this] { return arrived >= sent - 1; }));
        }
    }
};

TEST_P(SteadyState, NeitherRoadAllocates) {
    const std::vector<std::uint8_t> bytes(1316, 0x47);
    FeedOptions options;
    options.dataId = 7;
    {
        // Each sample of the pool has carried an id before.
        std::vector<ComPtr<IMediaSample>> all(kPool);
        for (auto& one : all) ASSERT_EQ(feeder->makeSample(bytes, options, one), S_OK);
    }
    carry(bytes, options, 50);  // lists find their sizes
    const std::uint64_t before = allocations;
    carry(bytes, options, 500);
    EXPECT_EQ(allocations - before, 0U);
}

INSTANTIATE_TEST_SUITE_P(Delivery, SteadyState, testing::Bool(),
                         [](const auto& way) { return way.param ? "ThroughTheQueue" : "Direct"; });

}  // namespace
