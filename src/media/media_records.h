#pragma once
// Records that a sample carries as side data (see MediaDataKey). Only their sizes and layouts are fixed here: what the
// fields mean is a matter of the filters that write and read them. All go by value, in the byte order of the machine.

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

/// Key CuePoint.
struct CuePoint {
    std::uint8_t byte0 = 0;
    std::uint8_t byte1 = 0;
    std::array<std::uint8_t, 6> reserved2{};
    std::uint64_t value8 = 0;
    std::uint8_t byte16 = 0;
    std::uint8_t byte17 = 0;
    std::array<std::uint8_t, 2> reserved18{};
    std::uint32_t value20 = 0;
};
static_assert(sizeof(CuePoint) == 24 && std::is_trivially_copyable_v<CuePoint>);
static_assert(offsetof(CuePoint, byte0) == 0 && offsetof(CuePoint, byte1) == 1 && offsetof(CuePoint, value8) == 8);
static_assert(offsetof(CuePoint, byte16) == 16 && offsetof(CuePoint, byte17) == 17);
static_assert(offsetof(CuePoint, value20) == 20);

/// Key DolbyMetadata; opaque.
struct DolbyMetadata {
    std::array<std::uint8_t, 84> bytes{};
};
static_assert(sizeof(DolbyMetadata) == 84 && std::is_trivially_copyable_v<DolbyMetadata>);

/// Key ParentalRating; opaque.
struct ParentalRating {
    std::array<std::uint8_t, 5144> bytes{};
};
static_assert(sizeof(ParentalRating) == 5144 && std::is_trivially_copyable_v<ParentalRating>);
