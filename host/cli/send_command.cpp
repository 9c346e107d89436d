#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/configuration_file.h"
#include "cli/datagram_counter.h"
#include "cli/demand.h"
#include "cli/host_log.h"
#include "cli/module_loader.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "filters/ts_file_source.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "interfaces/i_sender_config.h"
#include "platform/native_thread.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;
using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::
    IDelayCrossingPointFilter;

constexpr std::int32_t kInterfaceChanged = 0x806B;  // the sender's own: interface index, 1 for up
constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::milliseconds kClockSettles{1050};

const char* priorityName() {
    switch (platform::lastTimeCriticalClass()) {
        case platform::PriorityClass::RealTime:
            return "realtime";
        case platform::PriorityClass::Nice:
            return "nice";
        default:
            return "normal";
    }
}

// A pipe can't be read again.
void checkLoop(const SendOptions& options) {
    struct stat kind {};
    const int found = options.input == "-" ? fstat(STDIN_FILENO, &kind) : stat(options.input.c_str(), &kind);
    if (!options.loop || found != 0 || S_ISREG(kind.st_mode) || S_ISBLK(kind.st_mode)) return;
    throw UsageError("--loop: " + (options.input == "-" ? std::string("standard input") : options.input) +
                     " can't be read again; right would be a file");
}

/// One run of the sending graph.
class Sending {
public:
    explicit Sending(const SendOptions& options)
        : options_(options), log_(options.report, options.offsetMs), report_(options.report, "send") {}
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
        try {
            build();
        } catch (const StoppedEarly&) {
            report_.write(values(), true);
            return 0;
        }
        letClockSettle();
        if (FAILED(graph_->run())) throw std::runtime_error("can't start: " + log_.lastError());
        while (!stopRequested() && !ended()) {
            if (report_.due()) report_.write(values(), false);
        }
        sender_->Stop();  // first, as the graph would; what its loop still takes from its queue goes nowhere
        const ReportValues last = values();
        graph_->stop();
        report_.write(last, true);
        return conclude(last);
    }

private:
    void build() {
        for (const auto& text : options_.destinations) parseSendUrl(text);  // wrong use is told before all else
        checkLoop(options_);
        const auto saved = savedDestinations();
        report_.tellModule(moduleOf(CLSID_CNetworkSend));
        sender_ = host::create<IBaseFilter>(CLSID_CNetworkSend);
        senderMade_ = std::chrono::steady_clock::now();
        config_ = sender_.query<ISenderConfig>();
        config_->SetLogPerf(&log_);
        if (saved) loadConfiguration(*sender_, *saved, options_.load);
        addDestinations();
        if (!options_.save.empty()) saveConfiguration(*sender_, options_.save);
        config_->SetTimeOffset(options_.offsetMs);
        config_->EnablePacing(options_.noPacing ? 0 : 1);
        crossing_ = sender_.query<IDelayCrossingPointFilter>();
        crossing_->SetInputCrossingCallback(&counter_.input());
        crossing_->SetOutputCrossingCallback(&counter_.output());
        source_ = TsFileSource::create({options_.input, !options_.noPacing, options_.loop, stopRequested,
                                        [this](std::uint64_t id, std::size_t bytes) { counter_.announce(id, bytes); }});
        demand(graph_->addFilter(source_.get(), "source"), "can't build the graph");
        demand(graph_->addFilter(sender_.get(), "sender"), "can't build the graph");
        demand(graph_->connect(source_->GetPin(0), findPin(*sender_, PINDIR_INPUT).get()), "can't connect the sender");
    }
    std::optional<SavedConfiguration> savedDestinations() const {
        if (options_.load.empty()) return {};
        auto saved = readSenderConfiguration(options_.load);
        if (options_.destinations.empty() && std::get<SavedConfiguration::Sender>(saved.filter).loadable == 0) {
            throw UsageError(options_.load + " holds no destination; right would be --to URL beside it");
        }
        return saved;
    }
    int conclude(const ReportValues& last) {
        std::string error = source_->figures().error;
        if (error.empty() && last.datagrams == 0 && !log_.lastError().empty()) {
            error = "no datagram went out to all destinations: " + log_.lastError();
        }
        if (!error.empty()) std::fprintf(stderr, "mcgate: %s\n", error.c_str());
        return error.empty() ? 0 : 1;
    }
    // Behind those that were loaded.
    void addDestinations() {
        for (const auto& text : options_.destinations) {
            SendUrl url = parseSendUrl(text);
            if (url.local.empty() && isGroup(url.remote)) {
                url.local = routedInterface(url.remote);
                report_.tellInterface(url.remote, url.local);
            }
            if (url.local.empty()) url.local = url.remote.find(':') != std::string::npos ? "::" : "0.0.0.0";
            std::int32_t index = -1;
            demand(config_->AddDestination(platform::toWide(url.remote).c_str(), url.port,
                                           platform::toWide(url.local).c_str(), &index),
                   "can't send to " + text);
        }
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
        if (event && event->code == kInterfaceChanged) {
            report_.tellInterfaceState(static_cast<std::uint32_t>(event->p1), event->p2 != 0);
        }
        return event && (event->code == EC_COMPLETE || event->code == EC_ERRORABORT);
    }
    ReportValues values() {
        const std::uint64_t delivered = source_ ? source_->figures().samples : 0;  // first: a sample enters before that
        const auto counts = counter_.counts();
        ReportValues result;
        result.datagrams = counts.datagrams;
        result.bytes = counts.bytes;
        result.droppedSamples = delivered > counts.accepted ? delivered - counts.accepted : 0;
        result.dataPresent = counts.datagrams > lastDatagrams_;
        lastDatagrams_ = counts.datagrams;
        result.priority = priorityName();
        result.holdBackMs = log_.holdBackMs();
        result.queuedSamples = counts.queued;
        return result;
    }

    const SendOptions& options_;
    HostLog log_;
    Report report_;
    DatagramCounter counter_;
    std::uint64_t lastDatagrams_ = 0;
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
