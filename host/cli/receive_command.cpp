#include <chrono>

#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "cli/stream_report.h"
#include "streams/stream_graph.h"

namespace mcgate::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{100};

/// When a receiving command ends of itself.
class End {
public:
    explicit End(const ReceiveOptions& options) : options_(options) {}
    /// `datagrams`: received so far.
    bool isThere(std::uint64_t datagrams) {
        const auto now = Clock::now();
        if (datagrams != lastDatagrams_) lastData_ = now;
        lastDatagrams_ = datagrams;
        const std::chrono::duration<double> whole = now - start_;
        const std::chrono::duration<double> idle = now - lastData_;
        return (options_.durationSeconds > 0 && whole.count() >= options_.durationSeconds) ||
               (options_.idleExitSeconds > 0 && idle.count() >= options_.idleExitSeconds);
    }

private:
    const ReceiveOptions& options_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point lastData_ = start_;
    std::uint64_t lastDatagrams_ = 0;
};

}  // namespace

int runReceive(const ReceiveOptions& options) {
    StreamReport report(options.report, StreamKind::Receive);
    ReceiveSettings settings{options.url, options.out, options.timeoutMs};
    settings.emptied = true;
    const auto graph = makeStreamGraph({"receive", StreamState::Running, settings}, report.sink(), stopRequested,
                                       {options.load, options.save});
    if (!options.load.empty()) report.tellAddresses({std::get<ReceiveSettings>(graph->settings().of).input});
    End end(options);
    graph->run();
    while (!stopRequested() && !graph->heed(kLook) && !end.isThere(graph->datagrams())) {
        if (report.due()) report.write(graph->values(), false);
    }
    graph->stop();
    report.write(graph->values(), true);
    return exitStatus(graph->failure());
}

}  // namespace mcgate::host
