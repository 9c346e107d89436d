#pragma once
// UDP sockets, the raw IGMP socket, and numeric address resolving, in the terms of the logic above: its address values,
// its option meanings, its error numbers. Every failed call gives false, -1 or an invalid socket and sets lastError().

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/socket_address.h"

namespace mcgate::platform {

/// The start and release of the socket library. Here it has nothing to start; the calls exist because their counting
/// and the version check belong to the logic, and a test replaces them.
struct SocketLibrary {
    /// Asks for `requested` (0x0202 is 2.2); gives 0 or an error and the version it provides.
    int (*startup)(std::uint16_t requested, std::uint16_t& provided);
    void (*cleanup)();
};
const SocketLibrary& socketLibrary() noexcept;

/// Which socket options an address pair's family selects.
enum class OptionLevel { IPv4, IPv6 };

/// One open socket; move-only, closed at destruction.
/// Threads: one at a time, but for sendTo, which any number of threads may call.
class Socket {
public:
    Socket() noexcept = default;
    Socket(Socket&& other) noexcept;
    Socket& operator=(Socket&& other) noexcept;
    ~Socket();

    /// A UDP socket of family 2 or 23; IPv6 ones carry IPv6 only. An unknown family gives an invalid socket (10047).
    static Socket openDatagram(std::uint16_t family) noexcept;
    /// A raw IPv4 socket for IGMP; needs privilege. Its receive buffer is the minimum, since nobody reads it.
    static Socket openRawIgmp() noexcept;

    bool valid() const noexcept { return descriptor_ >= 0; }
    /// False, with lastError(), when the system reports a failure; the socket is invalid in either case.
    bool close() noexcept;

    bool setReuseAddress() noexcept;
    /// Bytes of payload buffering wanted. A smaller limit of the system is no failure: the larger form is tried where
    /// the process may, and otherwise the limit stands.
    bool setReceiveBuffer(std::int32_t bytes) noexcept;
    bool setSendBuffer(std::int32_t bytes) noexcept;
    /// Bytes of receive buffer that the system granted, counted as setReceiveBuffer does; 0 with lastError() on
    /// failure.
    std::int32_t receiveBuffer() const noexcept;
    /// Keeps datagrams of groups that other sockets of the host have joined away from this one.
    bool setOwnGroupsOnly() noexcept;

    /// Binds to the address and port. Port 0 asks for a free port that no other socket of the host uses, reuse or not.
    bool bind(const SocketAddress& local) noexcept;
    /// Binds so that exactly the group's datagrams for `port` that arrive on the interface are received.
    /// `port` in host byte order.
    bool bindToGroup(const SocketAddress& group, std::uint16_t port, std::uint32_t interfaceIndex) noexcept;

    bool setTtl(OptionLevel level, bool multicast, std::int32_t hops) noexcept;
    /// The interface for outgoing multicast: IPv4 by one of its addresses (network order), IPv6 by its index.
    bool setMulticastInterface(std::uint32_t ipv4Word) noexcept;
    bool setMulticastInterfaceIndex(std::uint32_t interfaceIndex) noexcept;

    /// Group membership on one interface (RFC 3678); with `source` a source-specific one.
    bool join(OptionLevel level, std::uint32_t interfaceIndex, const SocketAddress& group,
              const SocketAddress* source) noexcept;
    bool leave(OptionLevel level, std::uint32_t interfaceIndex, const SocketAddress& group,
               const SocketAddress* source) noexcept;

    /// Sends one datagram and blocks while the socket's buffer is full. Gives `size`, or -1 with lastError(): whatever
    /// the kernel says of a lost interface, address or route comes out as 10065 or 10049.
    std::int32_t sendTo(const void* data, std::size_t size, const SocketAddress& remote) noexcept;
    /// As sendTo, but with the plain error numbers; for the raw socket. Works on an invalid socket, too: -1, 10038.
    std::int32_t sendRawTo(const void* data, std::size_t size, const SocketAddress& remote) noexcept;
    /// Reads one datagram without waiting: its length, 0 for an empty one, -1 with lastError() for none (10035), an
    /// error, or one longer than `capacity` (10040), which is lost as a whole.
    std::int32_t receive(void* buffer, std::size_t capacity) noexcept;
    /// True exactly when a datagram can be read within `microseconds`; a negative time-out, or an error, gives false.
    bool waitReadable(std::int32_t microseconds) noexcept;

    /// Asks the system for its route to `remote`, so that boundAddress() tells the address it would send from.
    bool aimAt(const SocketAddress& remote) noexcept;
    /// The address the socket is bound to; family 0 when it has none. For tests and reports.
    SocketAddress boundAddress() const noexcept;

private:
    explicit Socket(int descriptor) noexcept : descriptor_(descriptor) {}
    std::int32_t send(const void* data, std::size_t size, const SocketAddress& remote, int (*map)(int)) noexcept;
    int descriptor_ = -1;
};

/// Numeric text to address, passive, for UDP; never looks up a name. 0, or a status for resolveErrorText; `out` is
/// filled on success only. `port` in host byte order; with 0 no port is set.
int resolveNumeric(const std::string& text, std::uint16_t port, SocketAddress& out);
/// The platform's text for a status of resolveNumeric.
std::string resolveErrorText(int status);
/// Canonical numeric text of the address (RFC 5952 for IPv6, without scope); empty for a family other than 2 and 23.
std::string numericText(const SocketAddress& address);
/// IPv4 text to a word in network byte order; 0xFFFFFFFF when it is none. Accepts the shortened, octal and hexadecimal
/// forms of inet_addr.
std::uint32_t ipv4WordOfText(const char* text) noexcept;

/// The local address from which the system would send to `remote` by its routes, port 0; false, with lastError(), when
/// it has no route. Sends nothing.
bool routedLocalAddress(const SocketAddress& remote, SocketAddress& local) noexcept;

}  // namespace mcgate::platform
