#include "cli/stop_signal.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>

namespace mcgate::host {

namespace {

constexpr std::chrono::milliseconds kOneRequest{500};

std::atomic<bool> requested{false};
std::atomic<bool> reloadRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler writes it

sigset_t stopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

// Lives as long as the process. After the first signal it is the one thread that doesn't block them, so that a second
// one finds the default: the end of the process. What comes within half a second belongs to the first: some supervisors
// signal a process and then its group.
void watch() {
    const sigset_t set = stopSignals();
    int number = 0;
    sigwait(&set, &number);
    requested = true;
    std::this_thread::sleep_for(kOneRequest);
    const timespec now{};
    while (sigtimedwait(&set, nullptr, &now) > 0) continue;
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    for (;;) pause();
}

// The handler runs on the watcher's thread, which alone leaves the signal open.
void handleHangUp(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(SIGHUP, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool isHangUpIgnored() {
    struct sigaction action {};
    return sigaction(SIGHUP, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void watchStopSignals() {
    const sigset_t set = stopSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGINT, SIG_DFL);  // a shell starts its background jobs with this one ignored
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGPIPE, SIG_IGN);
    std::thread(watch).detach();
    if (!isHangUpIgnored()) handleHangUp([](int) { requested = true; });
}

bool stopRequested() { return requested; }

void watchReloadSignal() {
    handleHangUp([](int) { reloadRequested = true; });
}

bool takeReloadRequest() { return reloadRequested.exchange(false); }

}  // namespace mcgate::host
