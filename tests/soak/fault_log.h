#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

#include "soak/faults.h"

namespace soak {

/// What happened to the first cable and when its stream came back: tells which losses a fault explains, and how long
/// silence lasted after repairs. Times are SoakTime's. Threads: one makes the faults, the sink's tells of data, any
/// asks; one leaf lock.
class FaultLog {
public:
    /// Data is to be back within `limitMs` of a repair.
    explicit FaultLog(std::int64_t limitMs) : limitMs_(limitMs) {}

    struct Figures {
        std::uint64_t times = 0;
        std::uint64_t losses = 0;           ///< numbers that these faults explain
        std::uint64_t late = 0;             ///< repairs after which data was not back within the limit
        std::int64_t longestSilenceMs = 0;  ///< from a repair to the next fault
    };

    /// Called before the fault is made.
    void begin(std::size_t kind, std::int64_t nowMs) {
        const std::lock_guard hold(lock_);
        ++count_;
        last() = Fault{kind, nowMs, {}, {}, {}};
        ++figures_[kind].times;
    }
    /// Called before the repair: data that comes from now on came back.
    void mending(std::int64_t nowMs) {
        const std::lock_guard hold(lock_);
        last().mending = nowMs;
    }
    void mended(std::int64_t nowMs) {
        const std::lock_guard hold(lock_);
        last().mended = nowMs;
    }
    /// Judges the last repair, when data came back or the limit is over.
    void judge() {
        const std::lock_guard hold(lock_);
        const Fault& fault = last();
        if (!fault.back || *fault.back > *fault.mended + limitMs_) ++figures_[fault.kind].late;
    }
    /// A datagram of the first cable's stream arrived.
    void onData(std::int64_t nowMs) {
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

    bool returned() const {
        const std::lock_guard hold(lock_);
        return count_ == 0 || last().back;
    }
    /// Books the loss of a number that left at this time, and tells whether a fault explains it: from shortly before
    /// the fault, since a datagram takes its time, until data was back, and at the latest when it had to be.
    bool explainLoss(std::int64_t leftMs) {
        const std::lock_guard hold(lock_);
        const auto used = faults_.begin() + static_cast<std::ptrdiff_t>(std::min(count_, kRemembered));
        const auto cause = std::find_if(faults_.begin(), used, [&](const Fault& one) { return covers(one, leftMs); });
        if (cause == used) return false;
        ++figures_[cause->kind].losses;
        return true;
    }
    Figures figures(std::size_t kind) const {
        const std::lock_guard hold(lock_);
        return figures_[kind];
    }

private:
    struct Fault {
        std::size_t kind = 0;
        std::int64_t begin = 0;
        std::optional<std::int64_t> mending, mended, back;
    };
    static constexpr std::int64_t kOnItsWayMs = 200;
    static constexpr std::size_t kRemembered = 8;  // a gap in the stream spans no more faults than that

    bool covers(const Fault& fault, std::int64_t timeMs) const {
        if (timeMs < fault.begin - kOnItsWayMs) return false;
        if (fault.back && timeMs > *fault.back) return false;
        return !fault.mended || timeMs <= *fault.mended + limitMs_;
    }
    Fault& last() { return faults_[(count_ - 1) % kRemembered]; }
    const Fault& last() const { return faults_[(count_ - 1) % kRemembered]; }

    const std::int64_t limitMs_;
    mutable std::mutex lock_;
    std::array<Fault, kRemembered> faults_;
    std::size_t count_ = 0;
    std::array<Figures, kFaultKinds> figures_;
    std::int64_t lastData_ = 0;
};

}  // namespace soak
