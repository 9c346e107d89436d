#include "streams/managed_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "filters/stopped_early.h"
#include "support/notes.h"

namespace {

using namespace std::chrono_literals;
using namespace mcgate::host;
using mcgate::platform::ComPtr;

/// What a test makes its graphs do, and sees of them. Any thread.
struct Script {
    std::atomic<int> refusals{0};            ///< runs that still fail
    std::atomic<bool> waitsForInput{false};  ///< run waits for a stop request
    std::atomic<const char*> end{nullptr};   ///< with which the graph ends by itself
    std::atomic<int> runs{0};
    test::Notes<std::string> told;

    bool waitForRuns(int count) const {
        return test::eventually([&] { return runs >= count; });
    }
    bool waitUntilTold(const std::string& text) {
        return told.waitFor([&](const auto& all) { return std::find(all.begin(), all.end(), text) != all.end(); });
    }
};

class ScriptedGraph final : public StreamGraph {
public:
    ScriptedGraph(Script& script, std::function<bool()> stopRequested)
        : script_(script), stopRequested_(std::move(stopRequested)) {}

    void run() override {
        ++script_.runs;
        const bool waits = script_.waitsForInput;
        if (script_.refusals > 0 && script_.refusals-- > 0) throw std::runtime_error("no route");
        while (waits && !stopRequested_()) std::this_thread::yield();
        if (waits) throw StoppedEarly("stopped");
        state_ = StreamState::Running;
    }
    void pause() override { state_ = StreamState::Paused; }
    void stop() override { state_ = StreamState::Stopped; }
    StreamState state() const noexcept override { return state_; }
    bool heed(std::chrono::milliseconds) override {
        std::this_thread::sleep_for(1ms);
        const char* const end = script_.end.exchange(nullptr);
        if (end != nullptr) failure_ = end;
        return end != nullptr;
    }
    std::string failure() override { return std::exchange(failure_, {}); }
    StreamValues values() override { return {}; }
    std::uint64_t datagrams() override { return 0; }
    StreamSettings settings() const override { return {}; }
    ComPtr<IBaseFilter> sender() const override { return {}; }
    ComPtr<IBaseFilter> receiver() const override { return {}; }

private:
    Script& script_;
    const std::function<bool()> stopRequested_;
    std::string failure_;
    StreamState state_ = StreamState::Stopped;
};

/// A managed stream over scripted graphs that tries again after a moment.
struct Managed {
    explicit Managed(Script& script)
        : stream(
              {"one", StreamState::Running, SendSettings{}},
              [&script](const Notice& notice) { script.told.add(notice.text); },
              [&script](const StreamSettings&, const NoticeSink&, std::function<bool()> stopRequested) {
                  return std::make_unique<ScriptedGraph>(script, std::move(stopRequested));
              },
              5ms) {}
    ManagedStream stream;
};

TEST(ManagedStream, ARefusedStartIsTriedUntilItSucceedsAndToldOnce) {
    Script script;
    script.refusals = 4;
    Managed managed(script);
    ASSERT_TRUE(script.waitUntilTold("running"));
    const StreamSnapshot now = managed.stream.snapshot();
    EXPECT_EQ(now.state, StreamState::Running);
    EXPECT_EQ(now.error, "");
    EXPECT_EQ(script.runs, 5);
    EXPECT_EQ(script.told.all(),
              (std::vector<std::string>{"no route; it is tried again every five seconds", "running"}));
}

TEST(ManagedStream, AnInputThatIsOverStopsItAndOneThatBreaksOffIsTriedAgain) {
    Script script;
    Managed managed(script);
    script.end = "the file is torn";
    ASSERT_TRUE(script.waitForRuns(2));
    script.end = "";
    ASSERT_TRUE(script.waitUntilTold("ended: its input is over"));
    const StreamSnapshot ended = managed.stream.snapshot();
    EXPECT_EQ(ended.wanted, StreamState::Stopped);
    EXPECT_EQ(ended.state, StreamState::Stopped);
    EXPECT_EQ(ended.error, "");
    EXPECT_EQ(managed.stream.bringTo(StreamState::Running, test::kDeadline).state, StreamState::Running);
    EXPECT_EQ(script.runs, 3);
    EXPECT_TRUE(script.waitUntilTold("the file is torn; it is tried again every five seconds"));
}

TEST(ManagedStream, AStopReachesAStartThatWaits) {
    Script script;
    script.waitsForInput = true;
    Managed managed(script);
    ASSERT_TRUE(script.waitForRuns(1));
    const StreamSnapshot stopped = managed.stream.bringTo(StreamState::Stopped, test::kDeadline);
    EXPECT_EQ(stopped.state, StreamState::Stopped);
    EXPECT_EQ(stopped.error, "");
    managed.stream.want(StreamState::Running);
    ASSERT_TRUE(script.waitForRuns(2));
    managed.stream.end();
    EXPECT_EQ(managed.stream.snapshot().state, StreamState::Stopped);
    EXPECT_EQ(managed.stream.snapshot().wanted, StreamState::Running) << "a profile that is saved now starts it again";
}

}  // namespace
