// A switch that forgets its members: the stream comes back by itself.

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

#include "receiving_graph.h"
#include "support/plain_sockets.h"
#include "support/two_hosts.h"

namespace {

using namespace test;
using std::chrono::milliseconds;

constexpr std::uint16_t kPort = 5000;

struct ForgetfulSwitch : testing::Test {
    void SetUp() override {
        if (!inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    }
    /// The longest time without a sample, from the first one on, seen over a while.
    static milliseconds longestSilence(ReceivingGraph& graph, milliseconds length) {
        EXPECT_TRUE(graph.collector->waitForSamples(1));
        std::this_thread::sleep_for(length);  // the length of the story, not a wait for something
        const auto samples = graph.collector->samples();
        auto last = samples.front().arrived;
        auto longest = std::chrono::steady_clock::now() - samples.back().arrived;
        for (const auto& sample : samples) {
            longest = std::max(longest, sample.arrived - last);
            last = sample.arrived;
        }
        return std::chrono::duration_cast<milliseconds>(longest);
    }
};

/// Takes CAP_NET_RAW from this thread, and from those that it makes, for as long as it lives.
class WithoutRawSockets {
public:
    WithoutRawSockets() {
        get();
        auto less = data_;
        less[0].effective &= ~(1U << CAP_NET_RAW);
        set(less);
    }
    ~WithoutRawSockets() { set(data_); }

private:
    struct Set {
        __u32 effective, permitted, inheritable;
    };
    void get() { EXPECT_EQ(syscall(SYS_capget, &header_, data_.data()), 0); }
    void set(std::array<Set, 2> wanted) { EXPECT_EQ(syscall(SYS_capset, &header_, wanted.data()), 0); }
    __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<Set, 2> data_{};
};

TEST_F(ForgetfulSwitch, TenReportsASecondKeepAnAnySourceStream) {
    const TwoHostsAndAForgetfulSwitch hosts;
    ReceivingGraph graph(kPort, "10.66.0.1", "239.1.1.1", "");
    graph.start();
    const Stream stream(hosts.peer, "10.66.0.2", "mc1", "239.1.1.1", kPort);
    const auto silence = longestSilence(graph, milliseconds(6000));
    EXPECT_GT(silence, milliseconds(90)) << "the switch did not forget, so nothing was shown";
    EXPECT_LT(silence, milliseconds(500)) << "the first silent turn announces the group";
}

TEST_F(ForgetfulSwitch, ARebuildBringsASourceSpecificStreamBack) {
    const TwoHostsAndAForgetfulSwitch hosts;
    ReceivingGraph graph(kPort, "10.66.0.1", "232.1.1.1", "10.66.0.2", 2000);
    graph.start();
    const Stream stream(hosts.peer, "10.66.0.2", "mc1", "232.1.1.1", kPort);
    const auto silence = longestSilence(graph, milliseconds(6000));
    EXPECT_GT(silence, milliseconds(1000)) << "half of the time-out has to pass first";
    EXPECT_LT(silence, milliseconds(2000));
    EXPECT_EQ(graph.presence.heard(), "T") << "it was back before the time-out";
}

TEST_F(ForgetfulSwitch, WithoutRawSocketsTheRebuildStillBringsAnAnySourceStreamBack) {
    const TwoHostsAndAForgetfulSwitch hosts;
    ReceivingGraph graph(kPort, "10.66.0.1", "239.1.1.1", "", 2000);
    {
        const WithoutRawSockets unprivileged;
        graph.start();
    }
    const Stream stream(hosts.peer, "10.66.0.2", "mc1", "239.1.1.1", kPort);
    const auto silence = longestSilence(graph, milliseconds(6000));
    EXPECT_GT(silence, milliseconds(1000)) << "no report got through";
    EXPECT_LT(silence, milliseconds(2000));
}

}  // namespace
