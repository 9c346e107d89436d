#include "media/nominal_bit_rate.h"

#include <cstring>

namespace {

struct RateField {
    GUID format;
    std::uint32_t offset;      ///< of a 32-bit word in the format block
    std::uint32_t multiplier;  ///< to bits per second
};

// In the published video headers the rate follows the source and target rectangles, of 16 bytes each. The block of
// FORMAT_MPEG2Video starts with the second form of the video header. nAvgBytesPerSec of a wave format follows two
// 16-bit fields and the sample rate.
constexpr std::uint32_t kVideoRateOffset = 32;
constexpr std::uint32_t kWaveRateOffset = 8;
constexpr RateField kRateFields[] = {
    {FORMAT_VideoInfo2, kVideoRateOffset, 1},  {FORMAT_VideoInfo, kVideoRateOffset, 1},
    {FORMAT_MPEG2Video, kVideoRateOffset, 1},  {FORMAT_PrivateVideo, kVideoRateOffset, 1},
    {FORMAT_WaveFormatEx, kWaveRateOffset, 8}, {FORMAT_MPEGStreams, 0, 1},
};

struct SubtypeRate {
    GUID subtype;
    std::int32_t bitsPerSecond;
};

constexpr SubtypeRate kSubtypeRates[] = {
    {mcgate::platform::guid("{64EF2C04-F4FE-4FF2-8463-13C4BD2913C0}"), 589'000},
    {mcgate::platform::guid("{BDA91D65-5ABA-4475-A453-FB019F768F89}"), 40'000},
    {mcgate::platform::guid("{BDA91D65-BF4F-406A-8523-FFC60B6FD2DA}"), 5'000},
    {mcgate::platform::guid("{0146DF4E-7CEE-4441-BB53-BC375D968E41}"), 480'000},
    {mcgate::platform::guid("{A37EB91B-C161-47A8-9FD8-58848E048029}"), 400'000},
};

std::uint32_t wordAt(const AM_MEDIA_TYPE& type, std::uint32_t offset) noexcept {
    std::uint32_t word = 0;
    if (type.pbFormat != nullptr && type.cbFormat >= offset + sizeof word) {
        std::memcpy(&word, type.pbFormat + offset, sizeof word);
    }
    return word;
}

}  // namespace

std::int32_t GetNominalBitRate(const AM_MEDIA_TYPE& type) noexcept {
    for (const RateField& field : kRateFields) {
        if (field.format != type.formattype) continue;
        return static_cast<std::int32_t>(wordAt(type, field.offset) * field.multiplier);
    }
    for (const SubtypeRate& rate : kSubtypeRates) {
        if (rate.subtype == type.subtype) return rate.bitsPerSecond;
    }
    return 0;
}
