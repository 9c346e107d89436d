#pragma once
// From the address texts of a user or a persisted stream to validated socket address values. All addresses are numeric:
// no name is looked up. Ports are in host byte order. Everything here may run on any thread.

#include <cstdint>
#include <string>

#include "platform/socket_address.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

using mcgate::platform::SocketAddress;

/// One send destination: the interface to send from (port 0) and where to send, unicast or multicast, with the port.
struct DestinationAddresses {
    SocketAddress Local;
    SocketAddress Remote;
};

struct AddressText {
    std::string text;        ///< canonical numeric form, empty for an address of no known family
    std::uint16_t port = 0;  ///< host byte order
};

/// 0 and `out` filled, or the resolver's status and `out` untouched. Only the port's low 16 bits count; 0 sets none.
int ResolveAddress(const std::string& text, std::uint32_t port, SocketAddress& out);
/// Resolves without a port; throws std::runtime_error "invalid ip address: " and the text.
void ResolveOrThrow(const std::string& text, SocketAddress& out);

/// IPv4 below 224.0.0.0 (0.0.0.0 included), IPv6 not in ff00::/8. 240.0.0.0 and above are neither.
bool IsUnicastAddress(const SocketAddress& address) noexcept;
/// 224.0.0.0/4 or ff00::/8.
bool IsMulticastAddress(const SocketAddress& address) noexcept;
/// "0.0.0.0" or any spelling of "::".
bool IsAnyAddress(const SocketAddress& address);
AddressText AddressToText(const SocketAddress& address);

/// Errors: std::runtime_error "getaddrinfo failed with ..." or "not a valid unicast address ...". `remote` may be
/// unicast or multicast and its port 0.
DestinationAddresses MakeDestinationAddresses(const std::string& local, std::uint32_t port, const std::string& remote);

/// The index of the adapter that carries the address (family and address bytes alone are compared); false and 0 when
/// none does. Asks the kernel at each call.
bool FindInterfaceIndex(const SocketAddress& local, std::uint32_t& index);

/// As ResolveAddress, but throws std::runtime_error "getaddrinfo failed with ...".
SocketAddress resolve(const std::string& text, std::uint32_t port);
/// Resolves `text` and demands a unicast address; errors as MakeDestinationAddresses.
SocketAddress resolveUnicast(const std::string& text, std::uint32_t port);

}  // namespace quorvel::network::udp::lib_udp::v2_1
