#pragma once
// The fields of a transport-stream packet (ISO/IEC 13818-1, 2.4.3) that the host looks at.

#include <bitstream/mpeg/ts.h>

#include <array>
#include <cstdint>
#include <optional>

namespace mcgate::host {

inline constexpr std::size_t kPacketSize = TS_SIZE;
inline constexpr std::uint16_t kNullPid = 0x1FFF;
inline constexpr std::uint64_t kPcrFrequency = 27'000'000;
inline constexpr std::uint64_t kPcrWrap = (std::uint64_t{1} << 33) * 300;

using TsPacket = std::array<std::uint8_t, kPacketSize>;

/// Program clock reference in 27 MHz units, where the packet carries one.
inline std::optional<std::uint64_t> pcrOf(const std::uint8_t* packet) {
    if (!ts_has_adaptation(packet) || ts_get_adaptation(packet) < 7 || !tsaf_has_pcr(packet)) return std::nullopt;
    return tsaf_get_pcr(packet) * 300 + tsaf_get_pcrext(packet);
}

inline bool saysDiscontinuity(const std::uint8_t* packet) {
    return ts_has_adaptation(packet) && ts_get_adaptation(packet) > 0 && tsaf_has_discontinuity(packet);
}

/// From an earlier PCR to a later one, across the wrap.
inline std::uint64_t pcrAdvance(std::uint64_t from, std::uint64_t to) { return (to + kPcrWrap - from) % kPcrWrap; }

inline TsPacket nullPacket() {
    TsPacket packet;
    packet.fill(0xFF);
    ts_pad(packet.data());
    return packet;
}

}  // namespace mcgate::host
