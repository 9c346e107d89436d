#pragma once

#include <cstdint>
#include <functional>

#include "check/heard.h"
#include "check/machine.h"
#include "check/road.h"
#include "platform/socket.h"

namespace mcgate::host {

/// A socket that listens as the receiver would, but never takes a port from another program: of two sockets on one
/// unicast port each datagram goes to one. One thread.
class Listening {
public:
    /// Opens, binds and joins. The socket stays for the other two when it is free or shared. `buffer`: bytes to ask
    /// for.
    PortAnswer open(const Road& road, std::uint32_t interfaceIndex, std::int32_t buffer);
    /// Bytes granted.
    std::int64_t receiveBuffer() const noexcept { return socket_.receiveBuffer(); }
    /// Counts what comes in that time; ends earlier when `stop`, asked ten times a second, says so.
    Heard hear(double seconds, const std::function<bool()>& stop);

private:
    bool bind(const Road& road, std::uint32_t interfaceIndex, bool beside);
    bool join(const Road& road, std::uint32_t interfaceIndex);

    platform::Socket socket_;
};

}  // namespace mcgate::host
