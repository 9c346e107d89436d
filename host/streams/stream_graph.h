#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "media/host/interfaces.h"
#include "platform/unknown.h"
#include "streams/notice.h"
#include "streams/stream_settings.h"
#include "streams/stream_values.h"

namespace mcgate::host {

/// One media graph that sends, receives or relays a stream. Its filters are made once and keep their configuration
/// (what a property page or a load changed) through stop and run; the source, sink or stamper beside them are made anew
/// at each run out of stopped.
/// Threads: one makes it, controls it and lets it go. The filters lock for themselves and may be asked by any thread.
class StreamGraph {
public:
    virtual ~StreamGraph() = default;  ///< of one that runs: stops it first
    StreamGraph(const StreamGraph&) = delete;
    StreamGraph& operator=(const StreamGraph&) = delete;

    /// Each throws std::runtime_error with what failed and why; the graph is stopped then. They may wait: run for a
    /// second after the graph was made (the sender's clock), and while an input gives its first packets; stop for the
    /// hold-back of a relay and for 450 ms.
    virtual void run() = 0;
    virtual void pause() = 0;
    virtual void stop() = 0;
    virtual StreamState state() const noexcept = 0;

    /// Heeds what the graph tells, waiting for it at most so long. Gives why the stream ended by itself, once it has:
    /// an empty text for one whose input is over.
    virtual std::optional<std::string> heed(std::chrono::milliseconds patience) = 0;

    /// Counted since the last run out of stopped; kept after a stop.
    virtual StreamValues values() = 0;
    /// The settings with the addresses that the filters have by now.
    virtual StreamSettings settings() const = 0;

    /// Empty where there is none of that kind.
    virtual platform::ComPtr<IBaseFilter> sender() const = 0;
    virtual platform::ComPtr<IBaseFilter> receiver() const = 0;

protected:
    StreamGraph() = default;
};

/// Throws UsageError for a setting that is wrong whatever the machine (a URL's form, a relay in a circle), and
/// std::runtime_error for what the machine refuses (no route, no module). `stopRequested` ends the waits of the methods
/// early; it is asked from the graph's threads, too.
std::unique_ptr<StreamGraph> makeStreamGraph(const StreamSettings& settings, NoticeSink sink,
                                             std::function<bool()> stopRequested);

}  // namespace mcgate::host
