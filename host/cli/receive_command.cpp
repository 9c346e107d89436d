#include <cstdio>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "cli/receiver_end.h"
#include "cli/stop_signal.h"
#include "filters/file_sink.h"

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
          log_(options.report),
          report_(options.report, "receive"),
          receiver_(options, log_, report_) {}
    ~Receiving() { graph_->tearDown(); }
    Receiving(const Receiving&) = delete;
    Receiving& operator=(const Receiving&) = delete;

    int run() {
        build();
        const HRESULT started = graph_->run();
        if (FAILED(started)) throw std::runtime_error(receiver_.whyNot(started));
        sink_->openFile();
        while (!stopRequested() && !ended() && !timeIsUp()) {
            if (!report_.due()) continue;
            log_.tellFullBuffers();
            report_.write(values(), false);
        }
        log_.tellFullBuffers();
        const StreamValues before = values();
        graph_->stop();
        StreamValues last = values();
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
        sink_ = FileSink::create(options_.out, stopRequested);
        demand(graph_->addFilter(receiver_.filter(), "receiver"), "can't build the graph");
        demand(graph_->addFilter(sink_.get(), "sink"), "can't build the graph");
        demand(graph_->connect(receiver_.output().get(), sink_->GetPin(0)), "can't connect the receiver");
        if (!options_.save.empty()) saveConfiguration(*receiver_.filter(), options_.save);
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
    StreamValues values() {
        const SinkFigures figures = sink_->figures();
        StreamValues result;
        receiver_.fill(result);
        result.datagrams = figures.datagrams;
        result.bytes = figures.bytes;
        result.measure(figures.stream);
        return result;
    }

    const ReceiveOptions& options_;
    HostLog log_;
    Report report_;
    ReceiverEnd receiver_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point lastData_ = start_;
    std::uint64_t lastDatagrams_ = 0;
    ComPtr<FilterGraph> graph_ = FilterGraph::create();
    ComPtr<FileSink> sink_;
};

}  // namespace

int runReceive(const ReceiveOptions& options) { return Receiving(options).run(); }

}  // namespace mcgate::host
