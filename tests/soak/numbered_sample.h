#pragma once
// What the soak sends: samples of seven transport packets' size that begin and end with their number, so that a
// datagram that was cut or mixed with another is told from a whole one.

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace soak {

inline constexpr std::size_t kSampleSize = 7 * 188;
/// The number of a sample that only pushes out what the sender has gathered; it stays behind there itself.
inline constexpr std::uint32_t kPadding = 0xFFFFFFFF;

inline void writeNumber(std::uint8_t* sample, std::uint32_t number) {
    std::memset(sample, 0x47, kSampleSize);
    std::memcpy(sample, &number, sizeof number);
    std::memcpy(sample + kSampleSize - sizeof number, &number, sizeof number);
}

/// False for a damaged sample.
inline bool readNumber(const std::uint8_t* sample, std::size_t size, std::uint32_t& number) {
    if (size != kSampleSize) return false;
    std::uint32_t again = 0;
    std::memcpy(&number, sample, sizeof number);
    std::memcpy(&again, sample + kSampleSize - sizeof again, sizeof again);
    return number == again;
}

}  // namespace soak
