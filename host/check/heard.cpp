#include "check/heard.h"

#include <algorithm>

namespace mcgate::host {

namespace {

constexpr std::uint8_t kSync = 0x47;

// Whole packets of `length` bytes, each with its sync byte at `syncAt`.
bool arePackets(const std::uint8_t* data, std::size_t size, std::size_t length, std::size_t syncAt) {
    if (size == 0 || size % length != 0) return false;
    for (std::size_t at = syncAt; at < size; at += length) {
        if (data[at] != kSync) return false;
    }
    return true;
}

bool isRtp(const std::uint8_t* data, std::size_t size) {
    if (size < 12 || (data[0] & 0xC0) != 0x80) return false;
    const std::size_t header = 12 + std::size_t{4} * (data[0] & 0x0FU);
    return size > header && arePackets(data + header, size - header, 188, 0);
}

}  // namespace

Payload payloadOf(const std::uint8_t* data, std::size_t size) {
    if (arePackets(data, size, 188, 0)) return Payload::TransportStream;
    if (isRtp(data, size)) return Payload::Rtp;
    if (arePackets(data, size, 204, 0)) return Payload::Packets204;
    if (arePackets(data, size, 192, 4)) return Payload::Packets192;
    return Payload::Other;
}

void Heard::add(const std::uint8_t* data, std::size_t size, double seconds) {
    if (datagrams_ == 0) {
        firstAt_ = seconds;
        firstSize_ = size;
    }
    lastAt_ = seconds;
    ++datagrams_;
    bytes_ += size;
    largest_ = std::max(largest_, size);
    ++kinds_.at(static_cast<std::size_t>(payloadOf(data, size)));
}

double Heard::bitRate() const {
    return lastAt_ > firstAt_ ? static_cast<double>(bytes_ - firstSize_) * 8 / (lastAt_ - firstAt_) : 0;
}

}  // namespace mcgate::host
