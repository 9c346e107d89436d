#pragma once

#include <cstdint>
#include <string>

#include "platform/socket_address.h"

namespace mcgate::host {

/// What a URL asks for, in address values. Family 0 stands for what it leaves open.
struct Road {
    enum class Direction { Receive, Send };
    Direction direction = Direction::Receive;
    std::string url;
    platform::SocketAddress remote;  ///< the destination, or the group to receive; none for unicast reception
    platform::SocketAddress source;  ///< of a source-specific join
    platform::SocketAddress local;   ///< an any address: all interfaces
    std::uint16_t port = 0;          ///< host byte order
    bool group = false;

    bool receives() const noexcept { return direction == Direction::Receive; }
    bool hasLocal() const noexcept { return local.family() != platform::kFamilyNone; }
    bool hasSource() const noexcept { return source.family() != platform::kFamilyNone; }
    /// Of the addresses that it names.
    std::uint16_t family() const noexcept { return hasLocal() ? local.family() : remote.family(); }
    /// The unicast address, remote or local, that means something on one link only (RFC 4291, 2.5.6), where the URL
    /// names no link with it; null when there is none.
    const platform::SocketAddress* withoutItsLink() const noexcept;
    /// The one kind of reception whose group is told to the network by hand, over a raw socket.
    bool reportsByHand() const noexcept {
        return receives() && group && !hasSource() && family() == platform::kFamilyIPv4;
    }
};

/// Both throw UsageError, as parseReceiveUrl and parseSendUrl do.
Road receiveRoad(const std::string& url);
Road sendRoad(const std::string& url);

}  // namespace mcgate::host
