#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/finding.h"
#include "check/machine.h"

namespace mcgate::host {

/// "route" of a destination, or of a group without a local address: is there one? `wanted`: the interface that the URL
/// names, null when it leaves the choice to the system.
Finding routeFinding(const Road& road, const RouteAnswer& answer, const Interface* wanted,
                     const std::vector<Interface>& all);
/// "route" of a group that is received on a named interface: the reports that are sent by hand go by the system's
/// route.
Finding reportRouteFinding(const Road& road, const RouteAnswer& answer, const Interface& wanted,
                           const std::vector<Interface>& all);

/// What bears on the kernel's filter of IPv4 datagrams whose source it would not answer by the same interface
/// (RFC 3704).
struct ReversePath {
    std::optional<int> mode;               ///< 0 off, 1 strict, 2 loose; nothing when the system doesn't tell
    std::optional<RouteAnswer> toSource;   ///< where the sender's address is known
    std::optional<std::uint64_t> dropped;  ///< by it, of all interfaces, while the check listened; nothing: unknown
    bool listened = false;
    bool heard = false;
};
/// "reverse-path": would the datagrams of the source pass?
Finding reversePathFinding(const Road& road, const ReversePath& path, const Interface& one,
                           const std::vector<Interface>& all);

}  // namespace mcgate::host
