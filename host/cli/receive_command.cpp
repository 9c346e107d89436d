#include <cstdio>
#include <optional>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "cli/host_log.h"
#include "cli/kernel_drops.h"
#include "cli/module_loader.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "filters/file_sink.h"
#include "foundation/status.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_source_config.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{100};

/// One run of the receiving graph.
class Receiving {
public:
    explicit Receiving(const ReceiveOptions& options)
        : options_(options),
          name_(options.load.empty() ? options.url : options.load),
          saved_(options.load.empty() ? std::optional<SavedConfiguration>() : readReceiverConfiguration(options.load)),
          url_(saved_ ? std::get<SavedConfiguration::Receiver>(saved_->filter).source : parseReceiveUrl(options.url)),
          log_(options.report),
          report_(options.report, "receive"),
          drops_(url_.port) {}
    ~Receiving() {
        graph_->tearDown();
        if (config_) config_->SetLogPerf(nullptr);
    }
    Receiving(const Receiving&) = delete;
    Receiving& operator=(const Receiving&) = delete;

    int run() {
        build();
        const HRESULT started = graph_->run();
        if (FAILED(started)) throw std::runtime_error("can't receive " + name_ + ": " + reasonOf(started));
        sink_->openFile();
        while (!stopRequested() && !ended() && !timeIsUp()) {
            if (!report_.due()) continue;
            log_.tellFullBuffers();
            report_.write(values(), false);
        }
        log_.tellFullBuffers();
        const ReportValues before = values();
        graph_->stop();
        ReportValues last = values();
        last.dataPresent = before.dataPresent;
        last.kernelDrops = before.kernelDrops;
        last.kernelDropsHint = before.kernelDropsHint;
        report_.write(last, true);
        const std::string error = sink_->figures().error;
        if (!error.empty()) std::fprintf(stderr, "mcgate: %s\n", error.c_str());
        return error.empty() ? 0 : 1;
    }

private:
    void build() {
        if (url_.local.empty()) {
            url_.local = routedInterface(url_.group);
            report_.tellInterface(url_.group, url_.local);
        }
        report_.tellModule(moduleOf(CLSID_CNetworkReceiverFilter));
        receiver_ = host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
        config_ = receiver_.query<ISourceConfig>();
        config_->SetLogPerf(&log_);
        config_->SetTimeout(options_.timeoutMs);
        configure();
        sink_ = FileSink::create(options_.out, stopRequested);
        demand(graph_->addFilter(receiver_.get(), "receiver"), "can't build the graph");
        demand(graph_->addFilter(sink_.get(), "sink"), "can't build the graph");
        demand(graph_->connect(findPin(*receiver_, PINDIR_OUTPUT).get(), sink_->GetPin(0)),
               "can't connect the receiver");
        if (!options_.save.empty()) saveConfiguration(*receiver_, options_.save);
    }
    void configure() {
        if (saved_) {
            loadConfiguration(*receiver_, *saved_, name_);
            return;
        }
        demand(config_->SetSource(url_.port, platform::toWide(url_.local).c_str(), platform::toWide(url_.group).c_str(),
                                  platform::toWide(url_.source).c_str()),
               "can't receive " + name_);
    }
    // The receiver gives this one for whatever the socket refuses.
    std::string reasonOf(HRESULT status) const {
        if (status != E_FAIL) return GetStatusText(status);
        return url_.local + " is no address of this host, or the port is taken";
    }
    bool ended() {
        const auto event = graph_->nextEvent(kLook);
        return event && event->code == EC_ERRORABORT;
    }
    bool timeIsUp() {
        const auto now = Clock::now();
        const auto datagrams = sink_->datagrams();
        if (datagrams != lastDatagrams_) lastData_ = now;
        lastDatagrams_ = datagrams;
        const std::chrono::duration<double> whole = now - start_;
        const std::chrono::duration<double> idle = now - lastData_;
        return (options_.durationSeconds > 0 && whole.count() >= options_.durationSeconds) ||
               (options_.idleExitSeconds > 0 && idle.count() >= options_.idleExitSeconds);
    }
    ReportValues values() {
        const SinkFigures figures = sink_->figures();
        std::uint8_t present = 0;
        config_->GetDataPresent(&present);
        ReportValues result;
        result.datagrams = figures.datagrams;
        result.bytes = figures.bytes;
        result.kernelDrops = drops_.update();
        if (result.kernelDrops.value_or(0) > 0) result.kernelDropsHint = drops_.hint();
        result.continuityErrors = figures.stream.continuityErrors;
        result.dataPresent = present != 0;
        result.bufferFullNotices = log_.bufferFullNotices();
        if (figures.stream.spacingSamples > 0) {
            result.spacing = {figures.stream.medianMs, figures.stream.p99Ms, figures.stream.maxMs};
        }
        return result;
    }

    const ReceiveOptions& options_;
    const std::string name_;  ///< of what is received, for messages
    const std::optional<SavedConfiguration> saved_;
    ReceiveUrl url_;
    HostLog log_;
    Report report_;
    KernelDrops drops_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point lastData_ = start_;
    std::uint64_t lastDatagrams_ = 0;
    ComPtr<FilterGraph> graph_ = FilterGraph::create();
    ComPtr<FileSink> sink_;
    ComPtr<IBaseFilter> receiver_;
    ComPtr<ISourceConfig> config_;
};

}  // namespace

int runReceive(const ReceiveOptions& options) { return Receiving(options).run(); }

}  // namespace mcgate::host
