#pragma once
// The other side of the wire, in plain sockets: nothing here is the system's own code.

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "support/notes.h"
#include "support/private_network.h"

namespace test {

/// An address and port as the kernel wants it.
struct Endpoint {
    sockaddr_storage storage{};
    socklen_t length = 0;

    Endpoint(const std::string& address, std::uint16_t port);
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

/// A datagram socket that is closed with the object.
class PlainSocket {
public:
    explicit PlainSocket(int family);
    PlainSocket(PlainSocket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    PlainSocket& operator=(PlainSocket&&) = delete;
    ~PlainSocket();
    int get() const noexcept { return descriptor_; }
    /// False when the port is taken. `reuse` first sets SO_REUSEADDR.
    bool bind(const Endpoint& local, bool reuse) const;
    void joinAnySource(const std::string& group, const std::string& interfaceName) const;

private:
    int descriptor_;
};

/// A socket of the host, bound to address and port with reuse, and joined on the interface when that is a group.
PlainSocket listeningSocket(const Host& host, const std::string& address, std::uint16_t port,
                            const std::string& interfaceName);

/// Sends text datagrams from one address of a host; a group leaves through the interface of that address.
class Speaker {
public:
    Speaker(const Host& host, const std::string& local, const std::string& interfaceName);
    /// False when the kernel refused.
    bool say(const std::string& text, const std::string& address, std::uint16_t port) const;

private:
    PlainSocket socket_;
};

/// Sends a datagram for each number from 1 on, every few milliseconds until it is destroyed.
class Stream {
public:
    /// The number's four bytes.
    static std::string numbered(std::uint32_t number);

    Stream(const Host& host, const std::string& local, const std::string& interfaceName, const std::string& address,
           std::uint16_t port, std::chrono::milliseconds spacing = std::chrono::milliseconds(5),
           std::function<std::string(std::uint32_t number)> datagram = numbered);

private:
    const Speaker speaker_;
    const std::jthread thread_;
};

/// Hands on what comes to a descriptor, on a thread of its own, until it is destroyed.
class Reader {
public:
    using Take = std::function<void(const std::uint8_t* bytes, std::size_t size)>;
    Reader(int descriptor, Take take);

private:
    const std::jthread thread_;
};

/// Keeps the first four bytes, as a number, of every datagram that comes to an address of a host, or to a group there.
class Ear {
public:
    Ear(const Host& host, const std::string& address, std::uint16_t port, const std::string& interfaceName);
    std::set<std::uint32_t> heard();
    /// How many datagrams came, repeats included.
    std::size_t count() { return numbers_.all().size(); }
    bool waitForNumberAbove(std::uint32_t number);

private:
    PlainSocket socket_;
    Notes<std::uint32_t> numbers_;
    const Reader reader_;
};

/// Reads group membership off the wire at one interface of a host, in lines such as "igmp2 report 239.1.1.1",
/// "igmp3 to-exclude 239.1.1.1", "igmp3 allow 232.1.1.1 10.66.0.2", "mld2 block ff35::1 fd66::2".
/// RFC 2236, RFC 3376, RFC 3810.
class MembershipTap {
public:
    MembershipTap(const Host& host, const std::string& interfaceName);
    int count(const std::string& line);
    bool waitFor(const std::string& line);

private:
    const PlainSocket socket_;
    Notes<std::string> lines_;
    const Reader reader_;
};

}  // namespace test
