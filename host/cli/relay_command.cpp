#include <chrono>

#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "cli/stream_report.h"
#include "filters/stopped_early.h"
#include "streams/stream_graph.h"

namespace mcgate::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{100};

}  // namespace

int runRelay(const RelayOptions& options) {
    StreamReport report(options.report, StreamKind::Relay);
    RelaySettings settings;
    settings.input = options.url;
    settings.to = options.destinations;
    settings.offsetMs = options.offsetMs;
    settings.pacing = !options.noPacing;
    settings.privateStream = options.privateStream;
    settings.timeoutMs = options.timeoutMs;
    const auto graph = makeStreamGraph({"relay", StreamState::Running, settings}, report.sink(), stopRequested);
    try {
        graph->run();
    } catch (const StoppedEarly&) {
        report.write(graph->values(), true);
        return 0;
    }
    const auto started = Clock::now();
    const auto timeIsUp = [&] {
        const std::chrono::duration<double> whole = Clock::now() - started;
        return options.durationSeconds > 0 && whole.count() >= options.durationSeconds;
    };
    while (!stopRequested() && !timeIsUp() && !graph->heed(kLook)) {
        if (report.due()) report.write(graph->values(), false);
    }
    graph->stop();
    report.write(graph->values(), true);
    return exitStatus(graph->failure());
}

}  // namespace mcgate::host
