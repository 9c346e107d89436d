#include "ts/packet_stamper.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace mcgate::host {

namespace {

constexpr std::uint64_t kLargestStep = kPcrFrequency / 10;
constexpr double kTicksPerSecond = 10'000'000.0;
constexpr double kTicksPerPcrUnit = kTicksPerSecond / static_cast<double>(kPcrFrequency);
constexpr double kMostBitRate = std::numeric_limits<std::int32_t>::max();  // the format block's users take 31 bits
constexpr std::size_t kLongestWait = 44'620;  // packets, 8 MiB: a stream whose PCRs have ended goes on at its last rate

}  // namespace

void PacketStamper::add(const std::uint8_t* packet, std::vector<StampedPacket>& out) {
    StampedPacket stamped;
    std::memcpy(stamped.bytes.data(), packet, kPacketSize);
    stamped.discontinuity = newBase_;
    newBase_ = false;
    const auto pcr = pcrOf(packet);
    if (pcr && follows(ts_get_pid(packet))) {
        ++references_;
        if (beginsAnew(*pcr, packet)) stamped.discontinuity = true;
        if (perPacket_ > 0) emit(out);
        pcrIndex_ = waiting_.size();
        lastPcr_ = pcr;
    }
    waiting_.push_back(stamped);
    if (perPacket_ > 0 && waiting_.size() > kLongestWait) {
        emit(out);
        loseClock();
    }
}

// Whether a PCR of this pid counts. Another pid takes over when the present one has shown none for a second.
bool PacketStamper::follows(std::uint16_t pid) {
    if (!pcrPid_) pcrPid_ = pid;
    if (*pcrPid_ == pid) return true;
    const double second = perPacket_ > 0 ? kTicksPerSecond / perPacket_ : static_cast<double>(kLongestWait);
    const auto silent = static_cast<double>(waiting_.size() - pcrIndex_);
    if (!lost_ && silent < std::min(second, static_cast<double>(kLongestWait))) return false;
    pcrPid_ = pid;
    loseClock();
    return true;
}

void PacketStamper::loseClock() {
    lost_ = true;
    lastPcr_.reset();
    pcrIndex_ = 0;
}

// Learns the rate from the last PCR to this one; true where the stream's clock breaks between them.
bool PacketStamper::beginsAnew(std::uint64_t pcr, const std::uint8_t* packet) {
    const bool wasLost = lost_;
    lost_ = false;
    if (!lastPcr_) return wasLost;
    const std::uint64_t advance = pcrAdvance(*lastPcr_, pcr);
    if (saysDiscontinuity(packet) || advance > kLargestStep) return true;
    const double interval = static_cast<double>(advance) * kTicksPerPcrUnit;
    const auto packets = static_cast<double>(waiting_.size() - pcrIndex_);
    perPacket_ = interval / packets;
    learnRate(interval, packets);
    return false;
}

// One interval may be far from the mean where the multiplex is uneven.
void PacketStamper::learnRate(double interval, double packets) {
    if (rateTicks_ >= kTicksPerSecond) return;
    rateTicks_ += interval;
    ratePackets_ += packets;
}

void PacketStamper::emit(std::vector<StampedPacket>& out) {
    for (auto& packet : waiting_) {
        packet.time = static_cast<std::int64_t>(next_);
        next_ += perPacket_;
        out.push_back(packet);
    }
    waiting_.clear();
}

void PacketStamper::finish(std::vector<StampedPacket>& out) { emit(out); }

void PacketStamper::restart(std::vector<StampedPacket>& out) {
    emit(out);
    lastPcr_.reset();
    lost_ = false;
    pcrIndex_ = 0;
    newBase_ = true;
}

std::uint32_t PacketStamper::bitRate() const noexcept {
    if (rateTicks_ <= 0) return 0;
    const double rate = static_cast<double>(kPacketSize * 8) * ratePackets_ / rateTicks_ * kTicksPerSecond;
    return static_cast<std::uint32_t>(std::clamp(rate, 1.0, kMostBitRate));
}

bool PacketStamper::rateIsSettled() const noexcept { return rateTicks_ >= kTicksPerSecond; }

}  // namespace mcgate::host
