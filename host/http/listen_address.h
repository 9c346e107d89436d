#pragma once

#include <cstdint>
#include <string>

#include "platform/socket_address.h"

namespace mcgate::host {

/// Where a server of the command listens.
struct ListenAddress {
    platform::SocketAddress address;  ///< with its port

    /// "127.0.0.1:9100", or "[::1]:9100".
    std::string text() const;
    /// Whether only this machine reaches it (127.0.0.0/8, ::1).
    bool isLoopback() const noexcept;
};

/// Takes "ADDRESS:PORT" with a numeric address, IPv6 in brackets, or a bare port, which is one of 127.0.0.1. Throws
/// UsageError with the text and what would be right.
ListenAddress parseListenAddress(const std::string& text);

}  // namespace mcgate::host
