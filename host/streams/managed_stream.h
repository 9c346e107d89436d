#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "streams/stream_counts.h"
#include "streams/stream_graph.h"

namespace mcgate::host {

/// What a managed stream is known to do at the moment.
struct StreamSnapshot {
    StreamState wanted = StreamState::Stopped;
    StreamState state = StreamState::Stopped;
    StreamValues values;     ///< of the last second
    StreamCounts totals;     ///< of all its runs, the values' counts included
    double bitRate = 0;      ///< bits per second over the last second
    double uptimeS = 0;      ///< seconds since it was run last; 0 while stopped
    double lastedS = 0;      ///< as uptimeS, but kept after a stop
    std::string error;       ///< why it isn't in the wanted state; empty when all is well
    std::uint64_t turn = 0;  ///< grows with each second's look at the values
};

/// A stream graph with a thread of its own, which makes it, brings it to the wanted state, looks at its values once a
/// second, and tries again every five seconds what could not be made or started or broke off, telling so once. A stream
/// whose input is over is stopped, and wanted to be.
/// Threads: any, but the last reference goes on none of the graph's. A leaf lock guards what is wanted and the
/// snapshot; no call of the graph is made under it.
class ManagedStream {
public:
    using Maker = std::function<std::unique_ptr<StreamGraph>(const StreamSettings& settings, NoticeSink sink,
                                                             std::function<bool()> stopRequested)>;
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kRetry{5000};

    /// Begins to bring the stream to `settings.start`.
    ManagedStream(const StreamSettings& settings, NoticeSink sink);
    /// With graphs of another make, and another patience between attempts.
    ManagedStream(const StreamSettings& settings, NoticeSink sink, Maker maker,
                  std::chrono::milliseconds retry = kRetry);
    /// As end.
    ~ManagedStream();
    ManagedStream(const ManagedStream&) = delete;
    ManagedStream& operator=(const ManagedStream&) = delete;

    /// What was given at the beginning.
    const StreamSettings& given() const noexcept { return given_; }
    /// Asks for a state and returns at once. A stream that ended by itself is run anew by asking for Running.
    void want(StreamState state);
    /// As want; then waits until the attempt was made or the stream is to end, at most so long. Gives what came of it.
    StreamSnapshot bringTo(StreamState state, std::chrono::milliseconds patience);
    /// Waits until the state that was given at the beginning was tried, at most so long.
    void waitForStart(std::chrono::milliseconds patience);
    StreamSnapshot snapshot() const;
    /// The settings with the addresses that the filters have by now, and the wanted state as `start`.
    StreamSettings settings() const;
    /// Empty where there is none of that kind, and while the graph could not be made.
    platform::ComPtr<IBaseFilter> sender() const;
    platform::ComPtr<IBaseFilter> receiver() const;

    /// Asks the stream to stop for good; end then waits for that, see StreamGraph::stop.
    void beginEnd() noexcept;
    void end();

private:
    struct Wish {
        StreamState state = StreamState::Stopped;
        std::uint64_t number = 0;  ///< grows with each request
    };

    void live();
    Wish wish() const;
    bool isEnding() const;
    void turn();
    void heedOrWait(const Wish& wish);
    bool isToTry(const Wish& wish) const;
    void attempt(const Wish& wish);
    void bring(StreamState state);
    void make();
    void concludeAttempt(const Wish& wish, const std::string& error);
    void conclude(const Wish& wish);
    void keepTrying(const std::string& error);
    void stopForGood();
    void look();
    void stopGraph();
    void tellChanges(const StreamValues& values);
    void tellState(std::uint32_t level, const std::string& text) const;

    const StreamSettings given_;
    const NoticeSink sink_;
    const Maker maker_;
    const std::chrono::milliseconds retry_;
    std::atomic<bool> stopAsked_{false};  ///< for the graph's waits
    std::atomic<bool> quiet_{false};      ///< while what was told is tried again

    // Of the thread alone.
    std::unique_ptr<StreamGraph> graph_;
    std::string told_;  ///< the error that was told last
    Clock::time_point nextTry_;
    Clock::time_point nextLook_;
    Clock::time_point startedAt_;
    Clock::time_point lookedAt_;
    std::uint64_t lastBytes_ = 0;
    std::uint64_t toldDrops_ = 0;
    bool hadData_ = false;
    RunningSums sums_;

    mutable std::mutex lock_;  // over what follows
    std::condition_variable changed_;
    Wish wish_;
    std::uint64_t done_ = 0;  ///< the number of the request that was last attempted
    bool ending_ = false;
    bool ended_ = false;
    StreamSnapshot snapshot_;
    const StreamGraph* published_ = nullptr;  ///< graph_ once it was made; it stays until the thread was joined

    std::thread thread_;
};

}  // namespace mcgate::host
