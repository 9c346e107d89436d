#pragma once

#include <optional>
#include <string>
#include <vector>

#include "streams/stream_settings.h"

namespace mcgate::host {

/// Relays that feed each other, so that what one of them receives goes round for ever.
struct RelayCircle {
    std::size_t stream = 0;  ///< the index of one of them
    std::string reason;      ///< "'a' would receive what it sends, by way of 'b'; right would be ..."
};

/// The first circle among the streams of a process, of one relay or several, as their settings have it. Asks the kernel
/// where ports agree (comesBack); waits for nothing. A relay that names an interface which has gone is passed over. Any
/// thread.
std::optional<RelayCircle> findCircle(const std::vector<StreamSettings>& streams);

}  // namespace mcgate::host
