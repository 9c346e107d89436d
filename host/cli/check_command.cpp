#include "check/check_report.h"
#include "check/checkup.h"
#include "check/system_machine.h"
#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "io/standard_output.h"

namespace mcgate::host {

namespace {

Road roadOf(const CheckOptions& options) {
    if (options.url.empty() == options.to.empty()) {
        throw UsageError("what is to be checked is either received or sent to; right would be one of URL and --to URL");
    }
    return options.to.empty() ? receiveRoad(options.url) : sendRoad(options.to);
}

}  // namespace

int runCheck(const CheckOptions& options) {
    const Road road = roadOf(options);
    SystemMachine machine(stopRequested);
    Checkup checkup(road, {options.seconds, options.rate}, machine);
    checkup.run();
    writeStandardOutput(options.json ? checkJson(road, checkup) : checkText(road, checkup));
    return checkup.verdict() == Verdict::Fault ? 1 : 0;
}

}  // namespace mcgate::host
