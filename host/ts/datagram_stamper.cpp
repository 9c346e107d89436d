#include "ts/datagram_stamper.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace mcgate::host {

namespace {

constexpr double kTicksPerSecond = 10'000'000.0;
constexpr double kTicksPerPcrUnit = kTicksPerSecond / static_cast<double>(kPcrFrequency);
constexpr std::uint64_t kLargestStep = kPcrFrequency / 10;
constexpr std::int64_t kLongestWait = 1'500'000;  // the largest step, and room for jitter
constexpr std::int64_t kPidSilence = 10'000'000;
constexpr double kNear = 2'000'000;    // a place within this of the arrival is believed
constexpr double kSettleTicks = 10e7;  // time constant of following the arrivals: jitter is to be forgotten
constexpr double kMostSlew = 500e-6;  // of the interval: crystals are ten times better, a burst changes next to nothing

}  // namespace

void DatagramStamper::add(const std::uint8_t* data, std::size_t size, std::int64_t arrival, Stamps& out) {
    releaseOverdue(arrival, out);
    if (anchor_ && arrival - pcrArrival_ >= kPidSilence) loseClock(out);
    if (lastArrival_ && arrival - *lastArrival_ >= silence_) {
        loseClock(out);
        breaks_ = true;
    }
    lastArrival_ = arrival;
    const Waiting datagram{scanner_.bytes(), arrival, std::exchange(breaks_, false)};
    waiting_.push_back(datagram);
    scanner_.add(data, size, [&](const std::uint8_t* packet, std::uint64_t offset) {
        if (byPcr_) takePacket(packet, offset, datagram, out);
    });
    if (!anchor_ || overdue_) releaseAll(out);
}

void DatagramStamper::releaseOverdue(std::int64_t now, Stamps& out) {
    if (waiting_.empty() || now - waiting_.front().arrival <= kLongestWait) return;
    releaseAll(out);
    overdue_ = true;
}

void DatagramStamper::releaseAll(Stamps& out) { release(std::numeric_limits<std::uint64_t>::max(), out); }

void DatagramStamper::takePacket(const std::uint8_t* packet, std::uint64_t offset, const Waiting& datagram,
                                 Stamps& out) {
    const auto pcr = pcrOf(packet);
    bool broken = saysDiscontinuity(packet);
    if (pcr && follows(ts_get_pid(packet), datagram.arrival, broken)) onPcr(*pcr, offset, broken, datagram, out);
}

bool DatagramStamper::follows(std::uint16_t pid, std::int64_t arrival, bool& broken) {
    if (pcrPid_ && *pcrPid_ != pid) {
        if (arrival - pcrArrival_ < kPidSilence) return false;
        broken = true;
    }
    pcrPid_ = pid;
    pcrArrival_ = arrival;
    overdue_ = false;
    return true;
}

void DatagramStamper::onPcr(std::uint64_t pcr, std::uint64_t offset, bool broken, const Waiting& datagram,
                            Stamps& out) {
    if (!anchor_) return beginAnew(pcr, offset, datagram.arrival, out);
    const std::uint64_t advance = pcrAdvance(anchor_->pcr, pcr);
    const double bytes = static_cast<double>(offset - anchor_->offset);
    if (!broken && advance <= kLargestStep) {
        const double interval = static_cast<double>(advance) * kTicksPerPcrUnit;
        learnRate(interval, bytes);
        return goOn(pcr, offset, interval, datagram, out);
    }
    const double expected = anchor_->time + perByte_ * bytes;
    const bool believed = perByte_ > 0 && std::abs(expected - static_cast<double>(datagram.arrival)) < kNear;
    if (!believed) return beginAnew(pcr, offset, datagram.arrival, out);
    release(offset, out);
    anchor_ = Anchor{pcr, offset, expected};
}

// The next PCR of an unbroken clock.
void DatagramStamper::goOn(std::uint64_t pcr, std::uint64_t offset, double interval, const Waiting& datagram,
                           Stamps& out) {
    const double bytes = static_cast<double>(offset - anchor_->offset);
    const double insideDatagram = static_cast<double>(offset) - static_cast<double>(datagram.offset);
    const double place = anchor_->time + interval * (1 - insideDatagram / bytes);
    const double late = static_cast<double>(datagram.arrival) - place;
    if (late < -kNear) {
        // The scale was set by a datagram that had been held up; all since then has waited for nothing.
        (waiting_.empty() ? breaks_ : waiting_.front().discontinuity) = true;
        return beginAnew(pcr, offset, datagram.arrival, out);
    }
    const double most = interval * kMostSlew;
    const double corrected = interval + std::clamp(late * interval / kSettleTicks, -most, most);
    perByte_ = corrected / bytes;
    release(offset, out);
    anchor_ = Anchor{pcr, offset, anchor_->time + corrected};
}

void DatagramStamper::beginAnew(std::uint64_t pcr, std::uint64_t offset, std::int64_t arrival, Stamps& out) {
    perByte_ = 0;
    release(offset, out);
    anchor_ = Anchor{pcr, offset, static_cast<double>(arrival)};
}

// The rate may be another one when the clock comes back.
void DatagramStamper::loseClock(Stamps& out) {
    releaseAll(out);
    anchor_.reset();
    overdue_ = false;
    perByte_ = 0;
    bitRate_ = 0;
    rateTicks_ = rateBytes_ = 0;
}

// One interval may be far from the mean where the multiplex is uneven.
void DatagramStamper::learnRate(double interval, double bytes) {
    rateTicks_ += interval;
    rateBytes_ += bytes;
    if (rateTicks_ < kTicksPerSecond) return;
    const double rate = rateBytes_ * 8 / rateTicks_ * kTicksPerSecond;
    // The format block's users take 31 bits.
    bitRate_ = static_cast<std::uint32_t>(std::clamp(rate, 1.0, 2'147'483'647.0));
    rateTicks_ = rateBytes_ = 0;
}

// By the clock, where it is known and not far from what was seen.
std::int64_t DatagramStamper::placeOf(const Waiting& one) const {
    if (!anchor_ || perByte_ <= 0) return one.arrival;
    const double bytes = static_cast<double>(one.offset) - static_cast<double>(anchor_->offset);
    const double place = anchor_->time + perByte_ * bytes;
    const bool believed = std::abs(place - static_cast<double>(one.arrival)) < 2 * kNear;
    return believed ? static_cast<std::int64_t>(place) : one.arrival;
}

// What begins at `upTo` or before it.
void DatagramStamper::release(std::uint64_t upTo, Stamps& out) {
    while (!waiting_.empty() && waiting_.front().offset <= upTo) {
        out.push_back({placeOf(waiting_.front()), waiting_.front().discontinuity});
        waiting_.pop_front();
    }
}

}  // namespace mcgate::host
