#pragma once

#include <cstdint>
#include <string>

namespace mcgate::host {

struct Verdict {
    bool whole = false;  ///< the received file is the sent one, followed by at most seven null packets
    std::uint64_t sentBytes = 0;
    std::uint64_t receivedBytes = 0;
    std::uint64_t firstDifference = 0;  ///< offset; the common length when one is a beginning of the other
    std::uint64_t nullPackets = 0;      ///< behind the sent bytes
};

/// Throws std::runtime_error when a file can't be read.
Verdict compareStreams(const std::string& sent, const std::string& received);

}  // namespace mcgate::host
