#include "ts/packet_stamper.h"

#include <cstring>

namespace mcgate::host {

namespace {

constexpr std::uint64_t kLargestStep = kPcrFrequency / 10;
constexpr double kTicksPerPcrUnit = 10'000'000.0 / static_cast<double>(kPcrFrequency);
constexpr std::size_t kLongestWait = 44'620;  // packets, 8 MiB: a stream whose PCRs have ended goes on at its last rate

}  // namespace

void PacketStamper::add(const std::uint8_t* packet, std::vector<StampedPacket>& out) {
    StampedPacket stamped;
    std::memcpy(stamped.bytes.data(), packet, kPacketSize);
    stamped.discontinuity = newBase_;
    newBase_ = false;
    const auto pcr = pcrOf(packet);
    if (pcr && pcrPid_.value_or(ts_get_pid(packet)) == ts_get_pid(packet)) {
        pcrPid_ = ts_get_pid(packet);
        if (lastPcr_) {
            const std::uint64_t advance = pcrAdvance(*lastPcr_, *pcr);
            const bool broken = saysDiscontinuity(packet) || advance > kLargestStep;
            if (!broken) {
                perPacket_ =
                    static_cast<double>(advance) * kTicksPerPcrUnit / static_cast<double>(waiting_.size() - pcrIndex_);
            }
            stamped.discontinuity = stamped.discontinuity || broken;
            emit(out);
        }
        pcrIndex_ = waiting_.size();
        lastPcr_ = pcr;
    }
    waiting_.push_back(stamped);
    if (perPacket_ > 0 && waiting_.size() > kLongestWait) {
        emit(out);
        lastPcr_.reset();
    }
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
    pcrIndex_ = 0;
    newBase_ = true;
}

std::uint32_t PacketStamper::bitRate() const noexcept {
    return perPacket_ > 0 ? static_cast<std::uint32_t>(kPacketSize * 8 * 10'000'000.0 / perPacket_) : 0;
}

}  // namespace mcgate::host
