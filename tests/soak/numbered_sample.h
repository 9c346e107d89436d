#pragma once
// What the soak sends: samples of seven transport packets' size that begin and end with their number, so that a
// datagram that was cut or mixed with another is told from a whole one.

#include <cstdint>
#include <cstring>
#include <vector>

namespace soak {

inline constexpr std::size_t kSampleSize = 7 * 188;
/// The number of a sample that only pushes out what the sender has gathered; it stays behind there itself.
inline constexpr std::uint32_t kPadding = 0xFFFFFFFF;

inline std::vector<std::uint8_t> numberedSample(std::uint32_t number) {
    std::vector<std::uint8_t> sample(kSampleSize, 0x47);
    std::memcpy(sample.data(), &number, sizeof number);
    std::memcpy(sample.data() + kSampleSize - sizeof number, &number, sizeof number);
    return sample;
}

/// False for a damaged sample.
inline bool readNumber(const std::uint8_t* sample, std::size_t size, std::uint32_t& number) {
    if (size != kSampleSize) return false;
    std::memcpy(&number, sample, sizeof number);
    return std::memcmp(&number, sample + kSampleSize - sizeof number, sizeof number) == 0;
}

}  // namespace soak
