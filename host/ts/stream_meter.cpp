#include "ts/stream_meter.h"

#include <algorithm>
#include <cstdlib>

namespace mcgate::host {

namespace {

constexpr double kTicksPerPcrUnit = 10'000'000.0 / static_cast<double>(kPcrFrequency);
constexpr std::uint64_t kLargestStep = kPcrFrequency / 10;
constexpr std::size_t kMostUnplaced = 200'000;
constexpr double kTicksPerMs = 10'000.0;

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
            closeSecond();
        } else {
            const double interval = static_cast<double>(advance) * kTicksPerPcrUnit;
            const double perByte = interval / static_cast<double>(offset - lastPcrOffset_);
            const auto unplaced = std::find_if(unplaced_.begin(), unplaced_.end(),
                                               [&](const Arrival& one) { return one.offset > offset; });
            for (auto one = unplaced_.begin(); one != unplaced; ++one) {
                if (one->offset < lastPcrOffset_) continue;
                const double place = streamTime_ + perByte * static_cast<double>(one->offset - lastPcrOffset_);
                delays_.push_back(one->time - static_cast<std::int64_t>(place));
            }
            streamTime_ += interval;
            unplaced_.erase(unplaced_.begin(), unplaced);
        }
    }
    if (broken || !lastPcr_) unplaced_.clear();
    lastPcr_ = pcr;
    lastPcrOffset_ = offset;
    if (streamTime_ >= secondEnds_) closeSecond();
}

void StreamMeter::closeSecond() {
    secondEnds_ = streamTime_ + 10'000'000;
    if (delays_.empty()) return;
    const auto middle = delays_.begin() + static_cast<std::ptrdiff_t>(delays_.size() / 2);
    std::nth_element(delays_.begin(), middle, delays_.end());
    const std::int64_t median = *middle;
    for (std::int64_t& delay : delays_) {
        const std::int64_t error = delay = std::abs(delay - median);
        ++histogram_[std::min(static_cast<std::size_t>(error / kBinWidth), kBins - 1)];
        largest_ = std::max(largest_, error);
        ++figures_.spacingSamples;
    }
    const auto most = delays_.begin() + static_cast<std::ptrdiff_t>(99 * delays_.size() / 100);
    std::nth_element(delays_.begin(), most, delays_.end());
    figures_.lastP99Ms = static_cast<double>(*most) / kTicksPerMs;
    delays_.clear();
}

StreamMeter::Figures StreamMeter::figures() const {
    const std::lock_guard hold(lock_);
    Figures result = figures_;
    if (result.spacingSamples == 0) return result;
    const double samples = static_cast<double>(result.spacingSamples);
    const auto half = static_cast<std::size_t>(0.5 * samples);
    const auto most = static_cast<std::size_t>(0.99 * samples);
    std::size_t seen = 0;
    for (std::size_t bin = 0; bin < kBins && seen <= most; ++bin) {
        const double place = static_cast<double>(bin) * kBinWidth / kTicksPerMs;
        if (seen <= half) result.medianMs = place;
        result.p99Ms = place;
        seen += histogram_[bin];
    }
    result.maxMs = static_cast<double>(largest_) / kTicksPerMs;
    return result;
}

}  // namespace mcgate::host
