#include <chrono>

#include "cli/commands.h"
#include "cli/notice_printer.h"
#include "cli/stop_signal.h"
#include "filters/ts_file_source.h"
#include "streams/stream_graph.h"

namespace mcgate::host {

namespace {

constexpr std::chrono::milliseconds kLook{100};

}  // namespace

int runSend(const SendOptions& options) {
    NoticePrinter printer(options.report, "send");
    Report report(options.report, "send");
    const SendSettings settings{options.input, options.destinations, options.offsetMs, !options.noPacing, options.loop};
    const auto graph = makeStreamGraph({"send", StreamState::Running, settings},
                                       [&printer](const Notice& notice) { printer.tell(notice); }, stopRequested,
                                       {options.load, options.save});
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
