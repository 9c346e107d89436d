#include <chrono>

#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "cli/stream_report.h"
#include "filters/stopped_early.h"
#include "streams/stream_graph.h"

namespace mcgate::host {

namespace {

constexpr std::chrono::milliseconds kLook{100};

}  // namespace

int runSend(const SendOptions& options) {
    StreamReport report(options.report, StreamKind::Send);
    const SendSettings settings{options.input, options.destinations, options.offsetMs, !options.noPacing, options.loop};
    const auto graph = makeStreamGraph({"send", StreamState::Running, settings}, report.sink(), stopRequested,
                                       {options.load, options.save});
    if (!options.load.empty()) report.tellAddresses(std::get<SendSettings>(graph->settings().of).to);
    try {
        graph->run();
    } catch (const StoppedEarly&) {
        report.write(graph->values(), true);
        return 0;
    }
    while (!stopRequested() && !graph->heed(kLook)) {
        if (report.due()) report.write(graph->values(), false);
    }
    graph->stop();
    report.write(graph->values(), true);
    return exitStatus(graph->failure());
}

}  // namespace mcgate::host
