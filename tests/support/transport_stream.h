#pragma once

#include <cstdint>
#include <vector>

#include "ts/generator.h"
#include "ts/ts_packet.h"

namespace test {

/// A transport stream, the same each time.
inline std::vector<std::uint8_t> generated(double seconds, std::uint32_t bitRate = 4'000'000) {
    std::vector<std::uint8_t> all;
    mcgate::host::generateTransportStream({bitRate, seconds, 1}, [&](const std::uint8_t* data, std::size_t size) {
        all.insert(all.end(), data, data + size);
    });
    return all;
}

/// A packet of nothing but a PCR, in ticks of 27 MHz.
inline mcgate::host::TsPacket pcrPacket(std::uint64_t pcr, bool discontinuity = false, std::uint16_t pid = 0x100) {
    mcgate::host::TsPacket packet{};
    ts_init(packet.data());
    ts_set_pid(packet.data(), pid);
    ts_set_adaptation(packet.data(), 7);
    packet[5] = 0;
    tsaf_set_pcr(packet.data(), pcr / 300);
    tsaf_set_pcrext(packet.data(), static_cast<std::uint16_t>(pcr % 300));
    if (discontinuity) tsaf_set_discontinuity(packet.data());
    return packet;
}

}  // namespace test
