#include <gtest/gtest.h>

#include <stdexcept>

#include "support/failure_of.h"
#include "support/temporary_file.h"
#include "support/transport_stream.h"
#include "ts/packet_reader.h"
#include "ts/packet_stamper.h"
#include "ts/stream_meter.h"

namespace {

using namespace mcgate::host;
using Bytes = std::vector<std::uint8_t>;
using test::generated, test::pcrPacket;

constexpr std::int64_t kSecond = 10'000'000;

TEST(Generator, TheStreamIsContinuousAndItsClockIsExact) {
    const Bytes all = generated(2.0);
    EXPECT_EQ(all, generated(2.0)) << "the same options give the same bytes";
    ASSERT_EQ(all.size() % kPacketSize, 0U);
    StreamMeter meter;
    const double ticksPerByte = 8.0 * kSecond / 4'000'000;
    for (std::size_t at = 0; at < all.size(); at += 1316) {
        const auto size = std::min<std::size_t>(1316, all.size() - at);
        meter.add(&all[at], size, static_cast<std::int64_t>(static_cast<double>(at) * ticksPerByte) + 12'345);
    }
    const auto figures = meter.figures();
    EXPECT_EQ(figures.packets * kPacketSize, all.size());
    EXPECT_EQ(figures.continuityErrors + figures.syncErrors, 0U);
    EXPECT_GT(figures.spacing.samples, 300U);
    EXPECT_LT(figures.spacing.maxMs, 0.02);
}

TEST(StreamMeter, SeesALostDatagramABurstAndCutPackets) {
    const Bytes all = generated(3.0);
    StreamMeter meter;
    const double ticksPerByte = 8.0 * kSecond / 4'000'000;
    for (std::size_t at = 0, number = 0; at < all.size(); at += 1000, ++number) {
        if (number == 500) continue;
        const auto arrival = static_cast<std::int64_t>(static_cast<double>(at) * ticksPerByte);
        const bool held = number >= 700 && number < 710;
        meter.add(&all[at], std::min<std::size_t>(1000, all.size() - at), held ? arrival + 50 * 10'000 : arrival);
    }
    const auto figures = meter.figures();
    EXPECT_GE(figures.continuityErrors, 1U);
    EXPECT_LE(figures.continuityErrors, 4U);
    EXPECT_NEAR(figures.spacing.maxMs, 50, 3);
    EXPECT_LT(figures.spacing.medianMs, 0.1);
    EXPECT_NEAR(figures.spacing.lastP99Ms, 50, 3) << "a fiftieth of the last whole second was held";
}

TEST(PacketStamper, TimesAreLinearAcrossTheWrapAndGoOnAfterABreak) {
    PacketStamper stamper;
    std::vector<StampedPacket> out;
    constexpr std::uint64_t kStep = kPcrFrequency / 50;  // 20 ms
    const TsPacket filler = nullPacket();
    const auto interval = [&](std::uint64_t pcr, bool broken = false) {
        stamper.add(pcrPacket(pcr, broken).data(), out);
        for (int i = 0; i < 9; ++i) stamper.add(filler.data(), out);
    };
    stamper.add(filler.data(), out);  // a stream may begin anywhere
    interval(kPcrWrap - kStep);
    interval(0);
    interval(kStep);
    interval(50 * kPcrFrequency);  // a jump
    interval(50 * kPcrFrequency + kStep);
    interval(50 * kPcrFrequency + 2 * kStep, true);
    stamper.finish(out);
    ASSERT_EQ(out.size(), 61U);
    for (std::size_t i = 0; i < out.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(out[i].time), static_cast<double>(i) * 20'000, 2) << i;
        EXPECT_EQ(out[i].discontinuity, i == 31 || i == 51) << i;
    }
    EXPECT_EQ(stamper.bitRate(), kPacketSize * 8 * 500);
}

TEST(PacketStamper, AClockThatWasLongGoneOrMovedToAnotherPidIsANewBase) {
    PacketStamper stamper;
    std::vector<StampedPacket> out;
    constexpr std::uint64_t kStep = kPcrFrequency / 50;  // 20 ms
    const TsPacket filler = nullPacket();
    std::uint64_t pcr = 0;
    const auto intervals = [&](int count, std::uint16_t pid) {
        for (int i = 0; i < count; ++i, pcr += kStep) {
            stamper.add(pcrPacket(pcr, false, pid).data(), out);
            for (int j = 0; j < 9; ++j) stamper.add(filler.data(), out);
        }
    };
    intervals(3, 0x100);
    stamper.add(pcrPacket(0, false, 0x200).data(), out);  // of another program: the first pid counts while it lasts
    intervals(2, 0x100);
    const std::size_t moved = 51;
    intervals(60, 0x200);  // the first second of these waits for the old pid
    for (int i = 0; i < 50'000; ++i) stamper.add(filler.data(), out);
    const std::size_t back = moved + 600 + 50'000;
    intervals(2, 0x200);
    stamper.finish(out);
    std::vector<std::size_t> bases;
    for (std::size_t i = 0; i < out.size(); ++i) {
        if (out[i].discontinuity) bases.push_back(i);
    }
    ASSERT_EQ(bases.size(), 2U);
    EXPECT_NEAR(static_cast<double>(bases[0]), static_cast<double>(moved + 500), 20) << "a second of 500 packets";
    EXPECT_EQ(bases[1], back);
}

TEST(PacketStamper, TheRateIsTheMeanOfASecondAndFitsTheFormat) {
    PacketStamper stamper;
    std::vector<StampedPacket> out;
    std::uint64_t pcr = 0;
    for (int i = 0; i < 60; ++i, pcr += kPcrFrequency / 50) {
        stamper.add(pcrPacket(pcr).data(), out);
        for (int j = 0; j < (i % 2 == 0 ? 4 : 14); ++j) stamper.add(nullPacket().data(), out);
    }
    EXPECT_NEAR(stamper.bitRate(), kPacketSize * 8 * 500, 100);
    PacketStamper absurd;
    absurd.add(pcrPacket(0).data(), out);
    for (int j = 0; j < 1000; ++j) absurd.add(nullPacket().data(), out);
    absurd.add(pcrPacket(1).data(), out);
    EXPECT_EQ(absurd.bitRate(), 0x7FFFFFFFU);
}

TEST(PacketReader, FindsThePacketsAndNamesWhatItCantTake) {
    const auto read = [](const Bytes& content) {
        const test::TemporaryFile file(content);
        PacketReader reader(file.path());
        TsPacket packet;
        std::size_t count = 0;
        while (reader.next(packet) == PacketReader::Result::Packet) ++count;
        return count;
    };
    const Bytes all = generated(0.2);
    const std::size_t packets = all.size() / kPacketSize;
    EXPECT_EQ(read(all), packets);
    EXPECT_EQ(read(Bytes(all.begin() + 77, all.end())), packets - 1);
    Bytes torn = all;
    torn.insert(torn.begin() + 20 * kPacketSize, 33, 0x00);
    EXPECT_GE(read(torn), packets - 2);
    const auto refusal = [&](std::size_t size, std::size_t offset) -> std::string {
        Bytes padded;
        for (std::size_t i = 0; i < 60; ++i) {
            padded.insert(padded.end(), offset, 0x11);
            padded.insert(padded.end(), all.begin() + static_cast<std::ptrdiff_t>(i * kPacketSize),
                          all.begin() + static_cast<std::ptrdiff_t>((i + 1) * kPacketSize));
            padded.insert(padded.end(), size - kPacketSize - offset, 0x22);
        }
        return test::failureOf<std::runtime_error>([&] { read(padded); });
    };
    EXPECT_NE(refusal(204, 0).find("packets of 204 bytes"), std::string::npos) << refusal(204, 0);
    EXPECT_NE(refusal(192, 4).find("packets of 192 bytes"), std::string::npos) << refusal(192, 4);
    EXPECT_THROW(read(Bytes(100'000, 0x33)), std::runtime_error);
    EXPECT_THROW(read({}), std::runtime_error);
    EXPECT_THROW(PacketReader("/no/such/file"), std::runtime_error);
}

}  // namespace
