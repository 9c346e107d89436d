#pragma once

#include <vector>

#include "check/finding.h"
#include "check/interfaces.h"
#include "check/road.h"

namespace mcgate::host {

/// The interface that carries the address; null when none does.
const Interface* carrierOf(const platform::SocketAddress& address, const std::vector<Interface>& all);

/// "interface": is there one with the local address? `found` as carrierOf gave it.
Finding interfaceFinding(const platform::SocketAddress& local, const Interface* found,
                         const std::vector<Interface>& all);
/// "interface" of a reception on all interfaces: does any but loopback carry data?
Finding anyInterfaceFinding(const std::vector<Interface>& all);
/// "interface" of a link-local address that names no link: the system can't tell which is meant.
Finding noLinkFinding(const platform::SocketAddress& address);
/// "link": is it set up, and does it have a carrier?
Finding linkFinding(const Interface& one);
/// "multicast": may groups go by it?
Finding multicastFinding(const Interface& one);

}  // namespace mcgate::host
