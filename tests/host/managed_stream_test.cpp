#include "streams/managed_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

#include "filters/ts_file_source.h"

namespace {

using namespace std::chrono_literals;
using mcgate::host::ManagedStream;
using mcgate::host::Notice;
using mcgate::host::NoticeSink;
using mcgate::host::SendSettings;
using mcgate::host::StoppedEarly;
using mcgate::host::StreamGraph;
using mcgate::host::StreamSettings;
using mcgate::host::StreamSnapshot;
using mcgate::host::StreamState;
using mcgate::host::StreamValues;
using mcgate::platform::ComPtr;

constexpr auto kPatience = 20s;

/// What a test makes its graphs do, and sees of them.
struct Script {
    std::mutex lock;
    std::condition_variable changed;
    int refusals = 0;                ///< runs that still fail
    bool waitsForInput = false;      ///< run waits for a stop request
    std::optional<std::string> end;  ///< with which the graph ends by itself
    int runs = 0;
    int stops = 0;
    std::vector<std::string> told;

    template <class Change>
    void set(Change&& change) {
        const std::lock_guard hold(lock);
        change(*this);
        changed.notify_all();
    }
    template <class Condition>
    bool waitFor(Condition&& condition) {
        std::unique_lock hold(lock);
        return changed.wait_for(hold, kPatience, [&] { return condition(*this); });
    }
};

class ScriptedGraph final : public StreamGraph {
public:
    ScriptedGraph(Script& script, std::function<bool()> stopRequested)
        : script_(script), stopRequested_(std::move(stopRequested)) {}

    void run() override {
        bool waits = false;
        script_.set([&](Script& script) {
            ++script.runs;
            waits = script.waitsForInput;
            if (script.refusals > 0 && script.refusals-- > 0) throw std::runtime_error("no route");
        });
        while (waits && !stopRequested_()) std::this_thread::yield();
        if (waits) throw StoppedEarly("stopped");
        state_ = StreamState::Running;
    }
    void pause() override { state_ = StreamState::Paused; }
    void stop() override {
        state_ = StreamState::Stopped;
        script_.set([](Script& script) { ++script.stops; });
    }
    StreamState state() const noexcept override { return state_; }
    bool heed(std::chrono::milliseconds) override {
        std::unique_lock hold(script_.lock);
        script_.changed.wait_for(hold, 1ms);
        if (!script_.end) return false;
        failure_ = *std::exchange(script_.end, std::nullopt);
        return true;
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
              [&script](const Notice& notice) { script.set([&](Script& all) { all.told.push_back(notice.text); }); },
              [&script](const StreamSettings&, const NoticeSink&, std::function<bool()> stopRequested) {
                  return std::make_unique<ScriptedGraph>(script, std::move(stopRequested));
              },
              5ms) {}
    ManagedStream stream;
};

bool told(const Script& script, const std::string& text) {
    return std::find(script.told.begin(), script.told.end(), text) != script.told.end();
}

TEST(ManagedStream, ARefusedStartIsTriedUntilItSucceedsAndToldOnce) {
    Script script;
    script.refusals = 4;
    Managed managed(script);
    ASSERT_TRUE(script.waitFor([](const Script& all) { return told(all, "running"); }));
    const StreamSnapshot now = managed.stream.snapshot();
    EXPECT_EQ(now.state, StreamState::Running);
    EXPECT_EQ(now.error, "");
    const std::lock_guard hold(script.lock);
    EXPECT_EQ(script.runs, 5);
    EXPECT_EQ(script.told, (std::vector<std::string>{"no route; it is tried again every five seconds", "running"}));
}

TEST(ManagedStream, AnInputThatIsOverStopsItAndOneThatBreaksOffIsTriedAgain) {
    Script script;
    Managed managed(script);
    script.set([](Script& all) { all.end = "the file is torn"; });
    ASSERT_TRUE(script.waitFor([](const Script& all) { return all.runs == 2; }));
    script.set([](Script& all) { all.end = ""; });
    ASSERT_TRUE(script.waitFor([](const Script& all) { return told(all, "ended: its input is over"); }));
    const StreamSnapshot ended = managed.stream.snapshot();
    EXPECT_EQ(ended.wanted, StreamState::Stopped);
    EXPECT_EQ(ended.state, StreamState::Stopped);
    EXPECT_EQ(ended.error, "");
    EXPECT_EQ(managed.stream.bringTo(StreamState::Running, kPatience).state, StreamState::Running);
    const std::lock_guard hold(script.lock);
    EXPECT_EQ(script.runs, 3);
    EXPECT_TRUE(told(script, "the file is torn; it is tried again every five seconds"));
}

TEST(ManagedStream, AStopReachesAStartThatWaits) {
    Script script;
    script.waitsForInput = true;
    Managed managed(script);
    ASSERT_TRUE(script.waitFor([](const Script& all) { return all.runs == 1; }));
    const StreamSnapshot stopped = managed.stream.bringTo(StreamState::Stopped, kPatience);
    EXPECT_EQ(stopped.state, StreamState::Stopped);
    EXPECT_EQ(stopped.error, "");
    managed.stream.want(StreamState::Running);
    ASSERT_TRUE(script.waitFor([](const Script& all) { return all.runs == 2; }));
    managed.stream.end();
    EXPECT_EQ(managed.stream.snapshot().state, StreamState::Stopped);
}

}  // namespace
