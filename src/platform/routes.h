#pragma once
// The system's routes, asked of the kernel anew at each call.

#include <cstdint>

#include "platform/socket_address.h"

namespace mcgate::platform {

/// By which way datagrams to an address would leave.
struct Route {
    std::uint32_t interfaceIndex = 0;
    SocketAddress source;    ///< the local address that the system would choose, port 0
    bool broadcast = false;  ///< to all hosts of a network, which a socket that didn't ask for it may not send
};

/// Fills `route` with the way to `remote`, unicast or multicast, from the address `from` (family 0: the system chooses)
/// and by the one interface `interfaceIndex` (0: any). False, with lastError(): 10051 when there is no route, 10065,
/// 10013 or 10022 when one says that the address is unreachable, prohibited or to be thrown away. Sends nothing. Any
/// thread; the answer is that of the calling thread's network namespace.
bool findRoute(const SocketAddress& remote, const SocketAddress& from, std::uint32_t interfaceIndex, Route& route);

}  // namespace mcgate::platform
