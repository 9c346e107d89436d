#pragma once
// What filters are configured as, in a line of text.

#include <string>

#include "interfaces/i_sender_config.h"
#include "interfaces/i_source_config.h"
#include "platform/text.h"

namespace test {

/// "local port group source", or "none" when it is not configured.
inline std::string sourceOf(ISourceConfig& config) {
    mcgate::platform::BstrPtr group, local, source;
    std::uint32_t port = 0;
    if (config.GetSource(group.put(), &port, local.put(), source.put()) != S_OK) return "none";
    using mcgate::platform::toNarrow;
    return toNarrow(local.get()) + ' ' + std::to_string(port) + ' ' + toNarrow(group.get()) + ' ' +
           toNarrow(source.get());
}

/// "remote:port@local", or "none" where no entry is.
inline std::string destinationOf(ISenderConfig& config, std::int32_t index) {
    mcgate::platform::BstrPtr remote, local;
    std::uint32_t port = 0;
    if (config.GetDestination(index, remote.put(), &port, local.put()) != S_OK) return "none";
    using mcgate::platform::toNarrow;
    return toNarrow(remote.get()) + ':' + std::to_string(port) + '@' + toNarrow(local.get());
}

}  // namespace test
