#include "cli/stop_signal.h"

#include <csignal>
#include <ctime>

namespace mcgate::host {

namespace {

sigset_t stopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

}  // namespace

void blockStopSignals() {
    const sigset_t set = stopSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

bool stopRequested() {
    const sigset_t set = stopSignals();
    const timespec now{};
    static bool requested = false;
    requested = requested || sigtimedwait(&set, nullptr, &now) > 0;
    return requested;
}

}  // namespace mcgate::host
