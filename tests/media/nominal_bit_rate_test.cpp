#include "media/nominal_bit_rate.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

constexpr GUID kKnownSubtype = mcgate::platform::guid("{0146DF4E-7CEE-4441-BB53-BC375D968E41}");

std::int32_t rateOf(const GUID& format, std::uint32_t offset, std::uint32_t word, std::uint32_t bytes) {
    std::vector<std::uint8_t> block(offset + 4);
    std::memcpy(block.data() + offset, &word, sizeof word);
    CMediaType type(MEDIATYPE_Stream, kKnownSubtype);
    type.SetFormat(format, block.data(), bytes);
    return GetNominalBitRate(type);
}

}  // namespace

TEST(NominalBitRate, TheFormatBlockDecidesWhereItIsKnown) {
    for (const GUID& video : {FORMAT_VideoInfo, FORMAT_VideoInfo2, FORMAT_MPEG2Video, FORMAT_PrivateVideo}) {
        EXPECT_EQ(rateOf(video, 32, 15'000'000, 36), 15'000'000);
    }
    EXPECT_EQ(rateOf(FORMAT_MPEGStreams, 0, 20'000'000, 4), 20'000'000);
    EXPECT_EQ(rateOf(FORMAT_WaveFormatEx, 8, 1000, 12), 8000);
    EXPECT_EQ(rateOf(FORMAT_WaveFormatEx, 8, 0x20000001U, 12), 8);  // wraps
    // A zero, and a block too short for its field, settle it as well.
    EXPECT_EQ(rateOf(FORMAT_MPEGStreams, 0, 0, 4), 0);
    EXPECT_EQ(rateOf(FORMAT_MPEGStreams, 0, 7, 3), 0);
    EXPECT_EQ(rateOf(FORMAT_VideoInfo, 32, 7, 35), 0);
    EXPECT_EQ(rateOf(FORMAT_WaveFormatEx, 8, 7, 0), 0);
}

TEST(NominalBitRate, OtherwiseTheSubtypeDoes) {
    EXPECT_EQ(rateOf(GUID_NULL, 0, 7, 4), 480'000);
    EXPECT_EQ(GetNominalBitRate(CMediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT)), 0);
}
