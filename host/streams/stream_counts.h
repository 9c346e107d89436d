#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "streams/stream_settings.h"
#include "streams/stream_values.h"

namespace mcgate::host {

/// What a stream counts, each under a name of its own whatever the kind of stream. Absent: not counted there.
struct StreamCounts {
    enum Counter {
        SentDatagrams,
        SentBytes,
        ReceivedDatagrams,
        ReceivedBytes,
        DroppedSamples,
        KernelDrops,
        ContinuityErrors,
        BufferFull,
        DataOutages,
        kCounters
    };
    std::array<std::optional<std::uint64_t>, kCounters> of;
};

StreamCounts countsOf(const StreamValues& values, StreamKind kind);

/// Sums of counts that begin again at zero with each run of a stream; they never go backwards. One thread.
class RunningSums {
public:
    /// The next counts are those of a new run.
    void beginRun();
    /// Takes the counts of the present run. One that is smaller than before tells of a new run, too.
    void follow(const StreamCounts& now);
    StreamCounts sums() const;

private:
    StreamCounts before_;  ///< of the runs that are over
    StreamCounts now_;
};

}  // namespace mcgate::host
