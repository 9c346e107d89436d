#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

#include "soak/fault_log.h"
#include "soak/handovers.h"
#include "soak/soak_time.h"

namespace soak {

/// What arrived of one stream: counts, missing numbers, silence. Nothing grows with time. Threads: the sink's in
/// arrived and damaged, any in figures; one lock, then the fault log's.
class StreamRecord {
public:
    /// `faults` explain losses and are told of data; null for a stream that no fault may touch. All outlive this.
    StreamRecord(std::string name, const SoakTime& time, const Handovers& handovers, FaultLog* faults)
        : name_(std::move(name)), time_(time), handovers_(handovers), faults_(faults) {}

    struct Figures {
        std::uint64_t received = 0;
        std::uint64_t explained = 0;    ///< lost, and a fault tells why
        std::uint64_t unexplained = 0;  ///< lost, and nothing tells why
        std::uint64_t repeated = 0;     ///< came again, or after a later one
        std::uint64_t damaged = 0;
        std::int64_t longestSilenceMs = 0;
        std::uint32_t last = 0;
    };

    void arrived(std::uint32_t number) {
        const std::int64_t now = time_.now();
        const std::lock_guard hold(lock_);
        ++figures_.received;
        if (lastArrival_ >= 0) figures_.longestSilenceMs = std::max(figures_.longestSilenceMs, now - lastArrival_);
        lastArrival_ = now;
        if (number <= figures_.last) {
            ++figures_.repeated;
        } else {
            // Before the fault log hears of this datagram: what is missing was lost while its fault was still open.
            countMissing(figures_.last + 1, number);
            figures_.last = number;
        }
        if (faults_ != nullptr) faults_->onData(now);
    }
    void damaged() {
        const std::lock_guard hold(lock_);
        ++figures_.damaged;
    }
    /// The stream is over, and this was its last number: what did not arrive by now is lost.
    void end(std::uint32_t lastNumber) {
        const std::lock_guard hold(lock_);
        countMissing(figures_.last + 1, lastNumber + 1);
    }
    Figures figures() const {
        const std::lock_guard hold(lock_);
        return figures_;
    }

private:
    static constexpr int kToldAtMost = 20;

    void countMissing(std::uint32_t first, std::uint32_t behind) {
        std::uint32_t begin = behind;  // of a row of unexplained numbers, `behind` when there is none
        for (std::uint32_t number = first; number < behind; ++number) {
            const auto left = handovers_.when(number);
            const bool explained = faults_ != nullptr && left && faults_->explainLoss(*left);
            ++(explained ? figures_.explained : figures_.unexplained);
            if (!explained) begin = std::min(begin, number);
            if (explained && begin < number) {
                tell(begin, number - 1);
                begin = behind;
            }
        }
        if (begin < behind) tell(begin, behind - 1);
    }
    void tell(std::uint32_t first, std::uint32_t last) {
        if (++told_ > kToldAtMost) return;
        const auto from = handovers_.when(first);
        const auto to = handovers_.when(last);
        std::printf("UNEXPLAINED: %s lost %u to %u, sent from %.3f s to %.3f s\n", name_.c_str(), first, last,
                    from ? static_cast<double>(*from) / 1000 : -1.0, to ? static_cast<double>(*to) / 1000 : -1.0);
    }

    const std::string name_;
    const SoakTime& time_;
    const Handovers& handovers_;
    FaultLog* const faults_;
    mutable std::mutex lock_;
    Figures figures_;
    std::int64_t lastArrival_ = -1;
    int told_ = 0;
};

}  // namespace soak
