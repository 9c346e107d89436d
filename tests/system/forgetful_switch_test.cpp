// A switch that forgets its members: the stream comes back by itself.

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <optional>

#include "receiving_graph.h"
#include "support/plain_sockets.h"
#include "support/two_hosts.h"

namespace {

using namespace test;
using std::chrono::milliseconds;

constexpr std::uint16_t kPort = 5000;
constexpr milliseconds kStory{6000};

/// Takes CAP_NET_RAW from this thread, and from those that it makes, for as long as it lives.
class WithoutRawSockets {
public:
    WithoutRawSockets() {
        EXPECT_EQ(syscall(SYS_capget, &header_, before_), 0);
        __user_cap_data_struct less[2] = {before_[0], before_[1]};
        less[0].effective &= ~(1U << CAP_NET_RAW);
        set(less);
    }
    ~WithoutRawSockets() { set(before_); }

private:
    void set(const __user_cap_data_struct* wanted) { EXPECT_EQ(syscall(SYS_capset, &header_, wanted), 0); }
    __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct before_[2]{};
};

struct ForgetfulSwitch : testing::Test {
    void SetUp() override {
        if (!inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
    }
    /// The longest time without a sample in some seconds of a stream, of the first of some streams where it is below
    /// `limit`: during the others the machine may have been busy.
    static milliseconds longestSilence(const std::string& group, const std::string& source, std::int32_t timeoutMs,
                                       milliseconds limit, bool withRawSockets = true) {
        milliseconds silence = limit;
        for (int i = 0; i < 4 && silence >= limit; ++i) silence = silenceOf(group, source, timeoutMs, withRawSockets);
        return silence;
    }
    /// From its first sample on; the whole story where data was told to be gone.
    static milliseconds silenceOf(const std::string& group, const std::string& source, std::int32_t timeoutMs,
                                  bool withRawSockets) {
        const TwoHostsAndAForgetfulSwitch hosts;
        ReceivingGraph graph(kPort, "10.66.0.1", group, source, timeoutMs);
        {
            std::optional<WithoutRawSockets> unprivileged;
            if (!withRawSockets) unprivileged.emplace();
            graph.start();
        }
        const Stream stream(hosts.peer, "10.66.0.2", "mc1", group, kPort);
        EXPECT_TRUE(graph.collector->waitForSamples(1));
        std::this_thread::sleep_for(kStory);  // not a wait for something
        if (graph.presence.heard() != "T") return kStory;
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

TEST_F(ForgetfulSwitch, TenReportsASecondKeepAnAnySourceStream) {
    const auto silence = longestSilence("239.1.1.1", "", 5000, milliseconds(500));
    EXPECT_GT(silence, milliseconds(90)) << "the switch did not forget, so nothing was shown";
    EXPECT_LT(silence, milliseconds(500)) << "the first silent turn announces the group";
}

TEST_F(ForgetfulSwitch, ARebuildBringsASourceSpecificStreamBack) {
    const auto silence = longestSilence("232.1.1.1", "10.66.0.2", 2000, milliseconds(2000));
    EXPECT_GT(silence, milliseconds(1000)) << "half of the time-out has to pass first";
    EXPECT_LT(silence, milliseconds(2000)) << "it is back before the time-out";
}

TEST_F(ForgetfulSwitch, WithoutRawSocketsTheRebuildStillBringsAnAnySourceStreamBack) {
    const auto silence = longestSilence("239.1.1.1", "", 2000, milliseconds(2000), false);
    EXPECT_GT(silence, milliseconds(1000)) << "no report got through";
    EXPECT_LT(silence, milliseconds(2000)) << "it is back before the time-out";
}

}  // namespace
