#include <atomic>
#include <cstdio>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/host_log.h"
#include "cli/module_loader.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "filters/ts_file_source.h"
#include "foundation/status.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "interfaces/i_sender_config.h"

namespace mcgate::host {

namespace {

using namespace quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0;
using platform::ComPtr;

constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::milliseconds kClockSettles{1050};

/// Counts the samples that pass a point of the sender.
class CrossingCounter final : public IDelayCrossingCallback {
public:
    void OnReserved() override {}
    void OnDataCrossing(std::uint64_t) override { ++count_; }
    std::uint64_t count() const noexcept { return count_.load(); }

private:
    std::atomic<std::uint64_t> count_{0};
};

void demand(HRESULT status, const std::string& what) {
    if (FAILED(status)) throw std::runtime_error(what + ": " + GetStatusText(status));
}

void addDestinations(ISenderConfig& config, const SendOptions& options) {
    for (const auto& text : options.destinations) {
        SendUrl url = parseSendUrl(text);
        if (url.local.empty() && isGroup(url.remote)) {
            url.local = routedInterface(url.remote);
            std::fprintf(stderr, "sending to %s on the interface of %s\n", url.remote.c_str(), url.local.c_str());
        }
        if (url.local.empty()) url.local = url.remote.find(':') != std::string::npos ? "::" : "0.0.0.0";
        std::int32_t index = -1;
        demand(config.AddDestination(platform::toWide(url.remote).c_str(), url.port,
                                     platform::toWide(url.local).c_str(), &index),
               "can't send to " + text);
    }
}

/// One run of the sending graph.
class Sending {
public:
    explicit Sending(const SendOptions& options)
        : options_(options),
          log_(options.report == ReportForm::Text ? HostLog::Lines::All : HostLog::Lines::Faults),
          report_(options.report, "send") {}
    ~Sending() {
        graph_->tearDown();
        if (crossing_) {
            crossing_->SetInputCrossingCallback(nullptr);
            crossing_->SetOutputCrossingCallback(nullptr);
        }
        if (config_) config_->SetLogPerf(nullptr);
    }
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;

    int run() {
        build();
        letClockSettle();
        if (FAILED(graph_->run())) throw std::runtime_error("can't start: " + log_.lastError());
        while (!stopRequested() && !ended()) {
            if (report_.due()) report_.write(values(), false);
        }
        graph_->stop();
        const ReportValues last = values();
        report_.write(last, true);
        return conclude(last);
    }

private:
    void build() {
        for (const auto& text : options_.destinations)
            parseSendUrl(text);  // wrong use is told before anything is opened
        sender_ = host::create<IBaseFilter>(CLSID_CNetworkSend);
        senderMade_ = std::chrono::steady_clock::now();
        config_ = sender_.query<ISenderConfig>();
        config_->SetLogPerf(&log_);
        addDestinations(*config_, options_);
        config_->SetTimeOffset(options_.offsetMs);
        config_->EnablePacing(options_.noPacing ? 0 : 1);
        crossing_ = sender_.query<IDelayCrossingPointFilter>();
        crossing_->SetInputCrossingCallback(&in_);
        crossing_->SetOutputCrossingCallback(&out_);
        source_ = TsFileSource::create({options_.input, !options_.noPacing, options_.loop, stopRequested});
        demand(graph_->addFilter(source_.get(), "source"), "can't build the graph");
        demand(graph_->addFilter(sender_.get(), "sender"), "can't build the graph");
        demand(graph_->connect(source_->GetPin(0), findPin(*sender_, PINDIR_INPUT).get()), "can't connect the sender");
    }
    int conclude(const ReportValues& last) {
        std::string error = source_->figures().error;
        if (error.empty() && last.datagrams == 0 && !log_.lastError().empty()) {
            error = "no datagram went out to all destinations: " + log_.lastError();
        }
        if (!error.empty()) std::fprintf(stderr, "mcgate: %s\n", error.c_str());
        return error.empty() ? 0 : 1;
    }
    // The sender's clock estimate begins at its creation, before it has the graph's clock. A first look at that clock a
    // second or more later is taken over whole; an earlier one in part only, and the rest would pass for time elapsed
    // in the stream.
    void letClockSettle() {
        while (!stopRequested() && std::chrono::steady_clock::now() - senderMade_ < kClockSettles)
            graph_->nextEvent(kLook);
    }
    bool ended() {
        const auto event = graph_->nextEvent(kLook);
        return event && (event->code == EC_COMPLETE || event->code == EC_ERRORABORT);
    }
    // A 1316-byte sample leaves when the next comes, so the last one that crossed is still gathered.
    ReportValues values() {
        const std::uint64_t left = out_.count();
        const std::uint64_t accepted = in_.count();
        const std::uint64_t delivered = source_->figures().samples;
        ReportValues result;
        result.datagrams = left > 0 ? left - 1 : 0;
        result.bytes = std::min(result.datagrams * 1316, source_->figures().bytes);
        result.droppedSamples = delivered > accepted ? delivered - accepted : 0;
        result.dataPresent = left > lastLeft_;
        lastLeft_ = left;
        result.holdBackMs = log_.holdBackMs();
        result.queuedSamples = accepted > left ? accepted - left : 0;
        return result;
    }

    const SendOptions& options_;
    HostLog log_;
    Report report_;
    CrossingCounter in_;
    CrossingCounter out_;
    std::uint64_t lastLeft_ = 0;
    ComPtr<FilterGraph> graph_ = FilterGraph::create();
    ComPtr<TsFileSource> source_;
    ComPtr<IBaseFilter> sender_;
    std::chrono::steady_clock::time_point senderMade_;
    ComPtr<ISenderConfig> config_;
    ComPtr<IDelayCrossingPointFilter> crossing_;
};

}  // namespace

int runSend(const SendOptions& options) { return Sending(options).run(); }

}  // namespace mcgate::host
