#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/socket_address.h"

namespace mcgate::host {

/// One UDP socket of this machine, by the kernel's socket diagnosis (man sock_diag).
struct UdpSocket {
    platform::SocketAddress local;  ///< with its port
    std::uint64_t inode = 0;
    std::uint32_t user = 0;
    std::uint64_t drops = 0;          ///< datagrams dropped because its buffer was full
    std::uint64_t receiveBuffer = 0;  ///< bytes granted, which are half of what the kernel counts
};

/// Those bound to `port`, of both families; nothing where the kernel doesn't tell.
std::optional<std::vector<UdpSocket>> udpSocketsOn(std::uint16_t port);
/// Inodes of the sockets that a process has open, as far as this one may see; `process` is a number or "self".
std::set<std::uint64_t> socketsOfProcess(const std::string& process);
/// Who has the socket open, such as "player (pid 812)", or "a program of user 1000" where no more is told.
std::string holderOf(const UdpSocket& socket);

}  // namespace mcgate::host
