#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/datagram_counter.h"
#include "cli/host_log.h"
#include "cli/report.h"
#include "graph/filter_graph.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "interfaces/i_sender_config.h"

namespace mcgate::host {

struct SenderOptions {
    std::vector<std::string> destinations;
    std::string load;  ///< file of saved configuration, before the destinations; empty: none
    std::string save;  ///< file to save the configuration in; empty: none
    std::int64_t offsetMs = 0;
    bool noPacing = false;
};

/// The sender filter as the commands use it: made and configured, followed at both crossing points, and unplugged when
/// the object goes. The graph is torn down by then; log and report outlive it. One thread, but for the counter.
class SenderEnd {
public:
    /// Throws UsageError for a wrong URL or a file that holds no sender's configuration, std::runtime_error for what
    /// could not be set up.
    SenderEnd(const SenderOptions& options, HostLog& log, Report& report);
    ~SenderEnd();
    SenderEnd(const SenderEnd&) = delete;
    SenderEnd& operator=(const SenderEnd&) = delete;

    IBaseFilter* filter() const noexcept { return filter_.get(); }
    platform::ComPtr<IPin> input() const { return findPin(*filter_, PINDIR_INPUT); }
    DatagramCounter& counter() noexcept { return counter_; }

    /// To be called before the graph runs. Ends early on a stop request.
    void letClockSettle(FilterGraph& graph) const;
    /// Tells what an event of the graph says about the interfaces behind the destinations.
    void heed(const FilterGraph::Event& event) const;
    /// What the sender knows for a report; `delivered`: samples handed to it, counted before this call.
    void fill(StreamValues& values, std::uint64_t delivered);

private:
    void addDestinations(const std::vector<std::string>& destinations);

    HostLog& log_;
    Report& report_;
    DatagramCounter counter_;
    std::uint64_t lastDatagrams_ = 0;
    platform::ComPtr<IBaseFilter> filter_;
    std::chrono::steady_clock::time_point made_;
    platform::ComPtr<ISenderConfig> config_;
    platform::ComPtr<quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::
                         IDelayCrossingPointFilter>
        crossing_;
};

}  // namespace mcgate::host
