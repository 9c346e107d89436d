// The command `mcgate`: exit status 2 for wrong use, 1 for a failure while running, 0 otherwise.

#include <fcntl.h>

#include <cstdio>
#include <stdexcept>

#include "cli/command_line.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "platform/process/process.h"

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUse = 2;

// What is closed of standard input, output and error would become another file of the process, which what is meant for
// them then reaches. Opened the wrong way round, so that to read or write it stays a failure.
void keepStandardDescriptors() {
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY);
    }
}

int run(int argc, char** argv) {
    const auto task = mcgate::host::parseCommandLine(argc, argv);
    mcgate::host::watchStopSignals();
    // The filters are given the command's log; what they write before that is no line for a reader of reports.
    mcgate::process::setDebugHook([](void*, const char*) {}, nullptr);
    return task();
}

}  // namespace

int main(int argc, char** argv) {
    keepStandardDescriptors();
    try {
        return run(argc, argv);
    } catch (const mcgate::host::UsageError& problem) {
        std::fprintf(stderr, "mcgate: %s\n", problem.what());
        return kWrongUse;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "mcgate: %s\n", problem.what());
        return kFailure;
    }
}
