#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "media/host/interfaces.h"
#include "platform/unknown.h"
#include "streams/notice.h"
#include "streams/stream_settings.h"
#include "streams/stream_values.h"

namespace mcgate::host {

/// One media graph that sends, receives or relays a stream. Its filters are made once and keep their configuration
/// (what a property page or a load changed) through stop and run; the source, sink or stamper beside them are made anew
/// at each run out of stopped. An input is then read from its beginning, and a file written on behind what this graph
/// wrote.
/// Threads: one makes it, controls it and lets it go. settings, sender and receiver may be called by any thread, and
/// the filters lock for themselves.
class StreamGraph {
public:
    virtual ~StreamGraph() = default;  ///< of one that runs: stops it first
    StreamGraph(const StreamGraph&) = delete;
    StreamGraph& operator=(const StreamGraph&) = delete;

    /// Each throws std::runtime_error with what failed and why; the graph is stopped then. They may wait: run and pause
    /// for a second after the graph was made (the sender's clock), and while an input gives its first packets: a stop
    /// request ends both with StoppedEarly; stop for the hold-back of a relay and for 450 ms.
    virtual void run() = 0;
    virtual void pause() = 0;
    virtual void stop() = 0;
    virtual StreamState state() const noexcept = 0;

    /// Heeds what the graph tells, waiting for it at most so long. True once the stream has ended by itself: its input
    /// is over, or something broke off; it is to be stopped then.
    virtual bool heed(std::chrono::milliseconds patience) = 0;
    /// What went wrong since the last run out of stopped; empty when nothing did. Complete once the graph is stopped.
    virtual std::string failure() = 0;

    /// Counted since the last run out of stopped; kept after a stop. Tells of pools that were found dry. It belongs
    /// into a look a second, not into a loop.
    virtual StreamValues values() = 0;
    /// Datagrams of values, to be asked as often as one likes; 0 where they are not counted.
    virtual std::uint64_t datagrams() = 0;
    /// The settings with the addresses that the filters have by now.
    virtual StreamSettings settings() const = 0;

    /// Empty where there is none of that kind.
    virtual platform::ComPtr<IBaseFilter> sender() const = 0;
    virtual platform::ComPtr<IBaseFilter> receiver() const = 0;

protected:
    StreamGraph() = default;
};

/// Files of saved configuration for the filter of a sending or a receiving graph; empty: none.
struct ConfigurationFiles {
    std::string load;  ///< before the addresses of the settings for a sender, instead of the input's for a receiver
    std::string save;  ///< written when the graph is made
};

/// Throws UsageError for a setting that is wrong whatever the machine (a URL's form, a relay in a circle), and
/// std::runtime_error for what the machine refuses (no route, no module). `stopRequested` ends the waits of the methods
/// early; it is asked from the graph's threads, too.
std::unique_ptr<StreamGraph> makeStreamGraph(const StreamSettings& settings, NoticeSink sink,
                                             std::function<bool()> stopRequested, const ConfigurationFiles& files = {});

}  // namespace mcgate::host
