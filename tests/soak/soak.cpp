#include "soak/soak.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "cli/stop_signal.h"

namespace soak {

using std::chrono::milliseconds;

namespace {

constexpr milliseconds kWarmUp{10'000};
constexpr milliseconds kFirstData{20'000};
constexpr milliseconds kLook{20};
constexpr milliseconds kLastResort{10'000};
constexpr std::int64_t kProgressMs = 10'000;

}  // namespace

Soak::Soak(const SoakOptions& options)
    : options_(options), group_(groupRecord_, options.overlooked), road_(hosts_, source_, group_, sound_, kTimeoutMs) {}

SoakReport Soak::run() {
    road_.start();
    awaitFirstData();
    nextProgress_ = time_.now() + kProgressMs;
    if (pass(std::min(kWarmUp, options_.length / 3))) atFirst_ = ProcessState::now();
    FaultPlan plan(options_.seed);
    while (!over()) {
        doing_ = "all is well";
        const PlannedFault planned = plan.next();
        if (!options_.faults) {
            pass(planned.pause);
        } else if (pass(planned.pause)) {
            suffer(planned);
        }
    }
    finish();
    return report();
}

void Soak::awaitFirstData() {
    const auto arrived = [this] { return groupRecord_.figures().received > 0 && soundRecord_.figures().received > 0; };
    if (!await(arrived, kFirstData)) throw std::runtime_error("no data arrived before any fault was made");
}

// The fault is mended also when the soak is over meanwhile.
void Soak::suffer(const PlannedFault& planned) {
    const FaultKind& kind = kFaults[planned.kind];
    doing_ = kind.name;
    ++faultCount_;
    faults_.begin(planned.kind, time_.now());
    (hosts_.*kind.happen)();
    pass(planned.length);
    faults_.mending(time_.now());
    (hosts_.*kind.mend)();
    if (kind.newInterface) road_.restartSender();
    faults_.mended(time_.now());
    awaitReturn(kind);
}

void Soak::awaitReturn(const FaultKind& kind) {
    doing_ = std::string("waiting for data after: ") + kind.name;
    const auto returned = [this] { return faults_.returned(); };
    const bool inTime = await(returned, milliseconds(kBackMs));
    faults_.judge();
    if (inTime) return;
    std::printf("LATE: no data within %" PRId64 " ms after the repair at %.1f s: %s\n", kBackMs,
                static_cast<double>(time_.now() - kBackMs) / 1000, kind.name);
    await(returned, kLastResort);  // so that the next fault is judged by itself
}

// The process is looked at while the streams flow, as it was after the warm-up.
void Soak::finish() {
    atLast_ = ProcessState::now();
    road_.stopSender();
    const std::uint32_t last = handovers_.last();
    const auto complete = [&] { return groupRecord_.figures().last == last && soundRecord_.figures().last == last; };
    await(complete, milliseconds(kBackMs));
    groupRecord_.end(last);
    soundRecord_.end(last);
}

SoakReport Soak::report() const {
    SoakReport result;
    result.seed = options_.seed;
    result.uptimeSeconds = static_cast<double>(time_.now()) / 1000;
    result.handedOver = handovers_.last();
    result.group = {"group", groupRecord_.figures(), group_.notices().noData(), group_.notices().data()};
    result.sound = {"sound", soundRecord_.figures(), sound_.notices().noData(), sound_.notices().data()};
    for (std::size_t kind = 0; kind < kFaultKinds; ++kind) result.faults[kind] = faults_.figures(kind);
    result.atFirst = atFirst_;
    result.atLast = atLast_;
    return result;
}

// False when the soak was over first.
bool Soak::pass(milliseconds length) {
    const std::int64_t end = time_.now() + length.count();
    while (!over()) {
        if (time_.now() >= end) return true;
        nap();
    }
    return false;
}

bool Soak::await(const std::function<bool()>& condition, milliseconds deadline) {
    const std::int64_t end = time_.now() + deadline.count();
    while (!condition()) {
        if (time_.now() >= end) return false;
        nap();
    }
    return true;
}

void Soak::nap() {
    std::this_thread::sleep_for(kLook);
    if (!source_.healthy()) throw std::runtime_error("the sender refused a sample or did not send it");
    if (nextProgress_ == 0 || time_.now() < nextProgress_) return;
    nextProgress_ += kProgressMs;
    const auto group = groupRecord_.figures();
    const auto sound = soundRecord_.figures();
    std::printf("%5" PRId64 " s: sent %u, group %" PRIu64 ", sound %" PRIu64 ", unexplained %" PRIu64
                ", faults %" PRIu64 ", memory %" PRId64 " KiB, now: %s\n",
                time_.now() / 1000, handovers_.last(), group.received, sound.received,
                group.unexplained + sound.unexplained, faultCount_, ProcessState::now().residentKiB, doing_.c_str());
    std::fflush(stdout);
}

bool Soak::over() const { return mcgate::host::stopRequested() || time_.now() >= options_.length.count(); }

}  // namespace soak
