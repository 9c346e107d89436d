#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/url.h"
#include "graph/filter_graph.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "interfaces/i_sender_config.h"
#include "streams/datagram_counter.h"
#include "streams/destination_watch.h"
#include "streams/stream_log.h"
#include "streams/stream_values.h"

namespace mcgate::host {

struct SenderOptions {
    std::vector<std::string> destinations;
    std::string load;  ///< file of saved configuration, before the destinations; empty: none
    std::string save;  ///< file to save the configuration in; empty: none
    std::int64_t offsetMs = 0;
    bool noPacing = false;
};

/// The sender filter as a stream uses it: made and configured, followed at both crossing points, and unplugged when the
/// object goes. The graph is torn down by then; the log outlives it. One thread, but for the counter and destinations.
class SenderEnd {
public:
    /// Throws UsageError for a wrong URL or a file that holds no sender's configuration, std::runtime_error for what
    /// could not be set up.
    SenderEnd(const SenderOptions& options, StreamLog& log, NoticeSink sink);
    ~SenderEnd();
    SenderEnd(const SenderEnd&) = delete;
    SenderEnd& operator=(const SenderEnd&) = delete;

    IBaseFilter* filter() const noexcept { return filter_.get(); }
    platform::ComPtr<IPin> input() const { return findPin(*filter_, PINDIR_INPUT); }
    DatagramCounter& counter() noexcept { return counter_; }

    /// To be called before the graph runs: what the filter has now is in use for this run. Tells of destinations that
    /// the system has no way to. Throws StoppedEarly once `stopRequested` says so.
    void prepare(FilterGraph& graph, const std::function<bool()>& stopRequested);
    /// To be called once the filter has opened its sockets: throws std::runtime_error when somebody gave it other
    /// destinations since prepare, so that it may send elsewhere than is watched.
    void confirm() const;
    /// Tells what an event of the graph says about the interfaces behind the destinations.
    void heed(const FilterGraph::Event& event);
    /// What the sender knows for a report; `delivered`: samples handed to it, counted before this call.
    void fill(StreamValues& values, std::uint64_t delivered);
    /// The counts begin anew.
    void restart(bool measuresSpacing = false);
    /// The URLs that the filter has by now, which it sends to from its next run on; one as it was given where the
    /// filter still has what that made of it. What the filter has and no URL can say is left out.
    std::vector<std::string> destinations() const;
    /// Where it sends in this run, texts of a page that are no URL but that the filter takes among them.
    struct Given {
        std::string text;
        SendUrl kept;  ///< as the filter gave it back

        bool operator==(const Given&) const = default;
    };
    const std::vector<Given>& inUse() const noexcept { return inUse_; }

private:
    void addDestinations(const std::vector<std::string>& destinations);
    std::optional<SendUrl> destination(std::int32_t index) const;
    std::vector<Given> present() const;
    std::string textOf(std::int32_t index, const SendUrl& present) const;
    std::vector<StreamValues::Destination> lookAtDestinations();

    StreamLog& log_;
    const NoticeSink sink_;
    const bool paced_;                                    ///< unpaced, nothing is held back
    std::map<std::int32_t, Given> given_;                 ///< by the filter's index
    std::map<std::uint32_t, InterfaceState> interfaces_;  ///< as last told, by index
    DatagramCounter counter_;
    std::vector<Given> inUse_;
    DestinationWatch watch_;
    std::uint64_t lastDatagrams_ = 0;
    std::chrono::steady_clock::time_point grewAt_;  ///< the look that saw datagrams leave
    platform::ComPtr<IBaseFilter> filter_;
    std::chrono::steady_clock::time_point made_;
    platform::ComPtr<ISenderConfig> config_;
    platform::ComPtr<quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::
                         IDelayCrossingPointFilter>
        crossing_;
};

}  // namespace mcgate::host
