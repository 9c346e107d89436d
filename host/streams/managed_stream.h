#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "streams/stream_graph.h"

namespace mcgate::host {

/// What a managed stream is known to do at the moment.
struct StreamSnapshot {
    StreamState wanted = StreamState::Stopped;
    StreamState state = StreamState::Stopped;
    StreamValues values;     ///< of the last second
    double bitRate = 0;      ///< bits per second over the last second
    double uptimeS = 0;      ///< seconds since it was run last; 0 while stopped
    std::string error;       ///< why it isn't in the wanted state, or why it ended; empty when all is well
    std::uint64_t turn = 0;  ///< grows with each second's look at the values
};

/// A stream graph with a thread of its own, which makes it, brings it to the wanted state, looks at its values once a
/// second, and tries again every five seconds what could not be made or started, telling so once.
/// Threads: any. A leaf lock guards what is wanted and the snapshot; no call of the graph is made under it.
class ManagedStream {
public:
    /// Begins to bring the stream to `settings.start`.
    ManagedStream(const StreamSettings& settings, NoticeSink sink);
    /// Stops the stream and waits for that, see StreamGraph::stop.
    ~ManagedStream();
    ManagedStream(const ManagedStream&) = delete;
    ManagedStream& operator=(const ManagedStream&) = delete;

    /// What was given at the beginning.
    const StreamSettings& given() const noexcept;
    /// Asks for a state and returns at once. A stream that ended by itself is run anew by asking for Running.
    void want(StreamState state);
    /// As want; then waits until the attempt was made, at most so long. Gives what came of it.
    StreamSnapshot bringTo(StreamState state, std::chrono::milliseconds patience);
    StreamSnapshot snapshot() const;
    /// The settings with the addresses that the filters have by now, and the wanted state as `start`.
    StreamSettings settings() const;
    /// Empty where there is none of that kind, and while the graph could not be made.
    platform::ComPtr<IBaseFilter> sender() const;
    platform::ComPtr<IBaseFilter> receiver() const;
};

}  // namespace mcgate::host
