#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace mcgate::host {

struct GeneratorOptions {
    std::uint64_t rate = 20'000'000;  ///< bits per second
    double seconds = 30;
    std::uint64_t seed = 1;  ///< of the payload
};

/// Makes a transport stream of constant rate: PAT and PMT each 100 ms, one pid with a PCR each 20 ms that is exact for
/// its place, continuity counters, pseudo-random payload, every tenth packet a null packet. The same options give the
/// same bytes. `write` is given whole packets.
void generateTransportStream(const GeneratorOptions& options,
                             const std::function<void(const std::uint8_t*, std::size_t)>& write);

}  // namespace mcgate::host
