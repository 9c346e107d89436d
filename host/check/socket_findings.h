#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "check/finding.h"
#include "check/machine.h"

namespace mcgate::host {

/// Bytes of receive buffer that the receiver asks of the system.
inline constexpr std::int32_t kReceiverBuffer = 0x100000;

/// What is known of a stream; 0 where it isn't.
struct StreamRate {
    double bitRate = 0;  ///< payload bits a second
    bool given = false;  ///< by the operator, not measured
    std::size_t datagramSize = 0;
};

/// "port": can the receiver have it?
Finding portFinding(const Road& road, const PortAnswer& answer);
/// "buffer": how long may the receiver be held up before `granted` bytes are full?
Finding bufferFinding(std::int64_t granted, const StreamRate& rate);

}  // namespace mcgate::host
