#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace mcgate::host {

/// What the payload of a datagram looks like: whole packets of 188 bytes (ISO/IEC 13818-1), the same behind an RTP
/// header (RFC 2250), packets with 16 bytes of error correction or a 4-byte time stamp in front, or none of these.
enum class Payload { TransportStream, Rtp, Packets204, Packets192, Other };

Payload payloadOf(const std::uint8_t* data, std::size_t size);

/// What came while a check listened.
class Heard {
public:
    /// `seconds` since any one moment.
    void add(const std::uint8_t* data, std::size_t size, double seconds);

    /// How long it was listened, in seconds.
    void setListened(double seconds) noexcept { listened_ = seconds; }
    double listened() const noexcept { return listened_; }

    std::uint64_t datagrams() const noexcept { return datagrams_; }
    std::uint64_t bytes() const noexcept { return bytes_; }
    std::size_t largest() const noexcept { return largest_; }
    std::uint64_t count(Payload kind) const { return kinds_.at(static_cast<std::size_t>(kind)); }
    bool isTransportStream() const { return datagrams_ > 0 && count(Payload::TransportStream) == datagrams_; }
    /// Payload bits a second from the first datagram to the last; 0 when fewer than two came.
    double bitRate() const;

private:
    std::uint64_t datagrams_ = 0;
    std::uint64_t bytes_ = 0;
    std::size_t firstSize_ = 0;
    std::size_t largest_ = 0;
    double listened_ = 0;
    double firstAt_ = 0;
    double lastAt_ = 0;
    std::array<std::uint64_t, 5> kinds_{};
};

}  // namespace mcgate::host
