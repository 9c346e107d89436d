#pragma once
// What a receiver listens to: a unicast port, or a multicast group on one interface.

#include <cstdint>
#include <memory>
#include <string>

#include "network/address.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

struct UnicastEndpoint {
    SocketAddress Local;  ///< local address and port
    friend bool operator==(const UnicastEndpoint&, const UnicastEndpoint&) = default;
};

struct MulticastEndpoint {
    SocketAddress Local;   ///< address of the interface to join on, with the port
    SocketAddress Group;   ///< port 0
    SocketAddress Source;  ///< port 0; family 0 when any source is accepted
    friend bool operator==(const MulticastEndpoint&, const MulticastEndpoint&) = default;
};

/// A tagged value that owns a heap copy of its alternative; newly made it is tag 0, all zero: not configured.
/// Threads: none of its own; the owner guards it.
class Endpoint {
public:
    static constexpr std::uint32_t kUnicast = 0;
    static constexpr std::uint32_t kMulticast = 1;

    Endpoint();
    explicit Endpoint(const UnicastEndpoint& unicast);
    explicit Endpoint(const MulticastEndpoint& multicast);
    Endpoint(const Endpoint& other);
    Endpoint(Endpoint&& other) noexcept = default;
    Endpoint& operator=(const Endpoint& other);
    Endpoint& operator=(Endpoint&& other) noexcept = default;
    ~Endpoint() = default;

    std::uint32_t tag() const noexcept { return tag_; }
    /// Null unless the tag is theirs.
    const UnicastEndpoint* unicast() const noexcept { return unicast_.get(); }
    const MulticastEndpoint* multicast() const noexcept { return multicast_.get(); }
    void swap(Endpoint& other) noexcept;

    /// Equal tags, and every address equal over its 128 bytes.
    friend bool operator==(const Endpoint& left, const Endpoint& right) noexcept;

private:
    std::uint32_t tag_ = kUnicast;
    std::unique_ptr<UnicastEndpoint> unicast_;
    std::unique_ptr<MulticastEndpoint> multicast_;
};

/// Errors as MakeDestinationAddresses; a group that is none gives "not a valid multicast address ...".
UnicastEndpoint MakeUnicastEndpoint(const std::string& local, std::uint32_t port);
/// An empty `source` accepts any source; "0.0.0.0" is not empty.
MulticastEndpoint MakeMulticastEndpoint(const std::string& local, std::uint32_t port, const std::string& group,
                                        const std::string& source);
/// The group text alone decides: an any address gives tag 0 and ignores `source`, every other gives tag 1. A refused
/// address gives an all-zero alternative of the tag. Throws only for a group text that does not resolve ("invalid ip
/// address: ...").
Endpoint MakeEndpoint(const std::string& local, std::uint32_t port, const std::string& group,
                      const std::string& source);

/// Errors of all five: std::runtime_error "internal assertion failure" for an endpoint that was moved from.
const SocketAddress& EndpointLocal(const Endpoint& endpoint);
/// The raw port field: network byte order.
std::uint16_t EndpointPort(const Endpoint& endpoint);
std::uint16_t EndpointFamily(const Endpoint& endpoint);
/// All zero for tag 0.
SocketAddress EndpointGroup(const Endpoint& endpoint);
SocketAddress EndpointSource(const Endpoint& endpoint);

}  // namespace quorvel::network::udp::lib_udp::v2_1
