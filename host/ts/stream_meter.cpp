#include "ts/stream_meter.h"

#include <algorithm>

namespace mcgate::host {

namespace {

constexpr double kTicksPerPcrUnit = 10'000'000.0 / static_cast<double>(kPcrFrequency);
constexpr std::uint64_t kLargestStep = kPcrFrequency / 10;
constexpr std::size_t kMostUnplaced = 200'000;

}  // namespace

void StreamMeter::add(const std::uint8_t* data, std::size_t size, std::int64_t arrival) {
    const std::lock_guard hold(lock_);
    if (unplaced_.size() < kMostUnplaced) unplaced_.push_back({scanner_.bytes(), arrival});
    scanner_.add(data, size, [this](const std::uint8_t* packet, std::uint64_t offset) { takePacket(packet, offset); });
    figures_.syncErrors = scanner_.skipped();
}

void StreamMeter::takePacket(const std::uint8_t* packet, std::uint64_t offset) {
    ++figures_.packets;
    checkContinuity(packet);
    const auto pcr = pcrOf(packet);
    const auto pid = ts_get_pid(packet);
    if (!pcr || pcrPid_.value_or(pid) != pid) return;
    pcrPid_ = pid;
    onPcr(*pcr, offset, saysDiscontinuity(packet));
}

// ISO/IEC 13818-1, 2.4.3.3: counts packets with payload; one repetition is allowed; null packets don't count.
void StreamMeter::checkContinuity(const std::uint8_t* packet) {
    const std::uint16_t pid = ts_get_pid(packet);
    if (pid == kNullPid) return;
    const auto counter = static_cast<std::int8_t>(ts_get_cc(packet));
    auto& last = counters_[pid];
    if (last >= 0 && !saysDiscontinuity(packet)) {
        const bool same = counter == last;
        const bool next = counter == ((last + 1) & 0xF);
        const bool allowed = ts_has_payload(packet) ? next || (same && !repeated_[pid]) : same;
        if (!allowed) ++figures_.continuityErrors;
        repeated_[pid] = ts_has_payload(packet) && same;
    }
    last = counter;
}

void StreamMeter::onPcr(std::uint64_t pcr, std::uint64_t offset, bool broken) {
    if (lastPcr_) {
        const std::uint64_t advance = pcrAdvance(*lastPcr_, pcr);
        if (broken || advance > kLargestStep || offset == lastPcrOffset_) {
            spacing_.cut(static_cast<std::int64_t>(streamTime_));
        } else {
            const double interval = static_cast<double>(advance) * kTicksPerPcrUnit;
            const double perByte = interval / static_cast<double>(offset - lastPcrOffset_);
            const auto unplaced = std::find_if(unplaced_.begin(), unplaced_.end(),
                                               [&](const Arrival& one) { return one.offset > offset; });
            for (auto one = unplaced_.begin(); one != unplaced; ++one) {
                if (one->offset < lastPcrOffset_) continue;
                const double place = streamTime_ + perByte * static_cast<double>(one->offset - lastPcrOffset_);
                spacing_.add(one->time - static_cast<std::int64_t>(place));
            }
            streamTime_ += interval;
            unplaced_.erase(unplaced_.begin(), unplaced);
        }
    }
    if (broken || !lastPcr_) unplaced_.clear();
    lastPcr_ = pcr;
    lastPcrOffset_ = offset;
    spacing_.reach(static_cast<std::int64_t>(streamTime_));
}

StreamMeter::Figures StreamMeter::figures() const {
    const std::lock_guard hold(lock_);
    Figures result = figures_;
    result.spacing = spacing_.figures();
    return result;
}

}  // namespace mcgate::host
