#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/socket_address.h"

namespace mcgate::host {

/// A wrong command line; the text says in one line what is wrong and what would be right.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Where to send: udp://ADDRESS:PORT[?local=ADDRESS], IPv6 in brackets. All numeric.
struct SendUrl {
    std::string remote;
    std::uint16_t port = 0;
    std::string local;  ///< empty when not given

    bool operator==(const SendUrl&) const = default;
};

/// What to receive: udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]. Without an address all interfaces are listened on.
struct ReceiveUrl {
    std::string source;  ///< of a source-specific join; empty: any
    std::string group;   ///< "0.0.0.0" or "::" for unicast
    std::string local;   ///< empty when not given and needed for a group
    std::uint16_t port = 0;

    bool operator==(const ReceiveUrl&) const = default;
};

/// Both throw UsageError for a wrong form, a host name, a port outside 1 to 65535, a mix of families, an address that
/// is neither unicast nor multicast, or one that is wrong in its place.
SendUrl parseSendUrl(const std::string& text);
ReceiveUrl parseReceiveUrl(const std::string& text);

/// The URL that is parsed as this. An any address counts as not given where a URL has no place for it.
std::string urlText(const SendUrl& url);
std::string urlText(const ReceiveUrl& url);

/// Whether the text of a numeric address is a group's.
bool isGroup(const std::string& address);
/// 240.0.0.0 and above: neither unicast nor a group.
bool isReserved(const platform::SocketAddress& address);

/// The address of the interface by which the system would route `remote`. Throws std::runtime_error when it
/// has no route: that is a state of the machine.
std::string routedInterface(const std::string& remote);

}  // namespace mcgate::host
