#include "soak/stream_record.h"

#include <algorithm>
#include <cstdio>

namespace soak {

namespace {

constexpr int kToldAtMost = 20;

}  // namespace

void StreamRecord::arrived(std::uint32_t number) {
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

void StreamRecord::damaged() {
    const std::lock_guard hold(lock_);
    ++figures_.damaged;
}

void StreamRecord::end(std::uint32_t lastNumber) {
    const std::lock_guard hold(lock_);
    countMissing(figures_.last + 1, lastNumber + 1);
}

StreamRecord::Figures StreamRecord::figures() const {
    const std::lock_guard hold(lock_);
    return figures_;
}

void StreamRecord::countMissing(std::uint32_t first, std::uint32_t behind) {
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

void StreamRecord::tell(std::uint32_t first, std::uint32_t last) {
    if (++told_ > kToldAtMost) return;
    const auto from = handovers_.when(first);
    const auto to = handovers_.when(last);
    std::printf("UNEXPLAINED: %s lost %u to %u, sent from %.3f s to %.3f s\n", name_.c_str(), first, last,
                from ? static_cast<double>(*from) / 1000 : -1.0, to ? static_cast<double>(*to) / 1000 : -1.0);
}

}  // namespace soak
