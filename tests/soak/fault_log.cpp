#include "soak/fault_log.h"

#include <algorithm>

namespace soak {

void FaultLog::begin(std::size_t kind, std::int64_t nowMs) {
    const std::lock_guard hold(lock_);
    ++count_;
    last() = Fault{kind, nowMs, {}, {}, {}};
    ++figures_[kind].times;
}

void FaultLog::mending(std::int64_t nowMs) {
    const std::lock_guard hold(lock_);
    last().mending = nowMs;
}

void FaultLog::mended(std::int64_t nowMs) {
    const std::lock_guard hold(lock_);
    last().mended = nowMs;
}

void FaultLog::judge() {
    const std::lock_guard hold(lock_);
    const Fault& fault = last();
    if (!fault.back || *fault.back > *fault.mended + limitMs_) ++figures_[fault.kind].late;
}

void FaultLog::onData(std::int64_t nowMs) {
    const std::lock_guard hold(lock_);
    if (count_ > 0 && last().mending) {
        Fault& fault = last();
        if (!fault.back) fault.back = nowMs;
        // Silence counts from the repair on, and not while it is being made.
        if (fault.mended) {
            auto& longest = figures_[fault.kind].longestSilenceMs;
            longest = std::max(longest, nowMs - std::max(lastData_, *fault.mended));
        }
    }
    lastData_ = nowMs;
}

bool FaultLog::returned() const {
    const std::lock_guard hold(lock_);
    return count_ == 0 || last().back;
}

bool FaultLog::explainLoss(std::int64_t leftMs) {
    const std::lock_guard hold(lock_);
    const auto used = faults_.begin() + static_cast<std::ptrdiff_t>(std::min(count_, kRemembered));
    const auto cause = std::find_if(faults_.begin(), used, [&](const Fault& one) { return covers(one, leftMs); });
    if (cause == used) return false;
    ++figures_[cause->kind].losses;
    return true;
}

bool FaultLog::covers(const Fault& fault, std::int64_t timeMs) const {
    if (timeMs < fault.begin - kOnItsWayMs) return false;
    if (fault.back && timeMs > *fault.back) return false;
    return !fault.mended || timeMs <= *fault.mended + limitMs_;
}

FaultLog::Figures FaultLog::figures(std::size_t kind) const {
    const std::lock_guard hold(lock_);
    return figures_[kind];
}

}  // namespace soak
