#include "platform/socket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/errors.h"
#include "platform/linux/error_map.h"
#include "platform/linux/native_address.h"

#ifndef SO_BINDTOIFINDEX
#define SO_BINDTOIFINDEX 62
#endif
#ifndef IP_MULTICAST_ALL
#define IP_MULTICAST_ALL 49
#endif
#ifndef IPV6_MULTICAST_ALL
#define IPV6_MULTICAST_ALL 29
#endif

namespace mcgate::platform {

namespace {

bool settle(bool done) noexcept {
    if (!done) setLastError(generalError(errno));
    return done;
}

template <class Value>
bool setOption(int descriptor, int level, int option, const Value& value) noexcept {
    return settle(setsockopt(descriptor, level, option, &value, sizeof value) == 0);
}

int familyOf(int descriptor) noexcept {
    int domain = AF_UNSPEC;
    socklen_t size = sizeof domain;
    getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size);
    return domain;
}

// The kernel caps the plain option silently and doubles what it grants; the forced form needs a capability.
bool setBuffer(int descriptor, int option, int forcedOption, std::int32_t bytes) noexcept {
    if (!setOption(descriptor, SOL_SOCKET, option, int{bytes})) return false;
    int granted = 0;
    socklen_t size = sizeof granted;
    getsockopt(descriptor, SOL_SOCKET, option, &granted, &size);
    if (granted / 2 < bytes) {
        const int wanted = bytes;
        setsockopt(descriptor, SOL_SOCKET, forcedOption, &wanted, sizeof wanted);
    }
    return true;
}

bool changeMembership(int descriptor, OptionLevel level, int option, std::uint32_t interfaceIndex,
                      const SocketAddress& group, const SocketAddress* source, int sourceOption) noexcept {
    const int nativeLevel = level == OptionLevel::IPv6 ? IPPROTO_IPV6 : IPPROTO_IP;
    if (source == nullptr) {
        group_req request{};
        request.gr_interface = interfaceIndex;
        request.gr_group = toNative(group).storage;
        return setOption(descriptor, nativeLevel, option, request);
    }
    group_source_req request{};
    request.gsr_interface = interfaceIndex;
    request.gsr_group = toNative(group).storage;
    request.gsr_source = toNative(*source).storage;
    return setOption(descriptor, nativeLevel, sourceOption, request);
}

}  // namespace

const SocketLibrary& socketLibrary() noexcept {
    static const SocketLibrary library{[](std::uint16_t, std::uint16_t& provided) {
                                           provided = 0x0202;
                                           return 0;
                                       },
                                       [] {}};
    return library;
}

Socket::Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    other.close();
    return *this;
}

Socket::~Socket() { close(); }

Socket Socket::openDatagram(std::uint16_t family) noexcept {
    const int native = family == kFamilyIPv4 ? AF_INET : family == kFamilyIPv6 ? AF_INET6 : AF_UNSPEC;
    if (native == AF_UNSPEC) {
        setLastError(SocketFamilyNotSupported);
        return {};
    }
    Socket socket(::socket(native, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!settle(socket.valid())) return {};
    // Without this a "::" listener would receive IPv4, too, and take its ports.
    if (native == AF_INET6 && !setOption(socket.descriptor_, IPPROTO_IPV6, IPV6_V6ONLY, int{1})) return {};
    return socket;
}

Socket Socket::openRawIgmp() noexcept {
    Socket socket(::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_IGMP));
    if (settle(socket.valid())) setOption(socket.descriptor_, SOL_SOCKET, SO_RCVBUF, int{1});
    return socket;
}

bool Socket::close() noexcept {
    if (descriptor_ < 0) return true;
    return settle(::close(std::exchange(descriptor_, -1)) == 0);
}

bool Socket::setReuseAddress() noexcept { return setOption(descriptor_, SOL_SOCKET, SO_REUSEADDR, int{1}); }

bool Socket::setReceiveBuffer(std::int32_t bytes) noexcept {
    return setBuffer(descriptor_, SO_RCVBUF, SO_RCVBUFFORCE, bytes);
}

bool Socket::setSendBuffer(std::int32_t bytes) noexcept {
    return setBuffer(descriptor_, SO_SNDBUF, SO_SNDBUFFORCE, bytes);
}

std::int32_t Socket::receiveBuffer() const noexcept {
    int granted = 0;
    socklen_t size = sizeof granted;
    if (!settle(getsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &granted, &size) == 0)) return 0;
    return granted / 2;
}

bool Socket::setOwnGroupsOnly() noexcept {
    if (familyOf(descriptor_) == AF_INET6) return setOption(descriptor_, IPPROTO_IPV6, IPV6_MULTICAST_ALL, int{0});
    return setOption(descriptor_, IPPROTO_IP, IP_MULTICAST_ALL, int{0});
}

bool Socket::bind(const SocketAddress& local) noexcept {
    const NativeAddress native = toNative(local);
    // With reuse set, a free port may be one that a reuse listener holds, whose datagrams this socket would then take.
    const bool automatic = local.port() == 0;
    int reuse = 0;
    socklen_t size = sizeof reuse;
    if (automatic) {
        getsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &reuse, &size);
        setOption(descriptor_, SOL_SOCKET, SO_REUSEADDR, int{0});
    }
    const bool bound = settle(::bind(descriptor_, native.get(), native.length) == 0);
    if (automatic && reuse != 0) {
        const int error = lastError();
        setReuseAddress();
        setLastError(error);
    }
    return bound;
}

bool Socket::bindToGroup(const SocketAddress& group, std::uint16_t port, std::uint32_t interfaceIndex) noexcept {
    SocketAddress target = group;
    target.setPort(port);
    // Bound to its interface the socket is exact for both families; where that is refused, IPv4 still is.
    const int index = static_cast<int>(interfaceIndex);
    setsockopt(descriptor_, SOL_SOCKET, SO_BINDTOIFINDEX, &index, sizeof index);
    if (group.family() == kFamilyIPv6) target.setScope(interfaceIndex);
    const NativeAddress native = toNative(target);
    return settle(::bind(descriptor_, native.get(), native.length) == 0);
}

bool Socket::setTtl(OptionLevel level, bool multicast, std::int32_t hops) noexcept {
    const int value = hops;
    if (level == OptionLevel::IPv6) {
        return setOption(descriptor_, IPPROTO_IPV6, multicast ? IPV6_MULTICAST_HOPS : IPV6_UNICAST_HOPS, value);
    }
    return setOption(descriptor_, IPPROTO_IP, multicast ? IP_MULTICAST_TTL : IP_TTL, value);
}

bool Socket::setMulticastInterface(std::uint32_t ipv4Word) noexcept {
    in_addr address{};
    address.s_addr = ipv4Word;
    return setOption(descriptor_, IPPROTO_IP, IP_MULTICAST_IF, address);
}

bool Socket::setMulticastInterfaceIndex(std::uint32_t interfaceIndex) noexcept {
    return setOption(descriptor_, IPPROTO_IPV6, IPV6_MULTICAST_IF, static_cast<int>(interfaceIndex));
}

bool Socket::join(OptionLevel level, std::uint32_t interfaceIndex, const SocketAddress& group,
                  const SocketAddress* source) noexcept {
    return changeMembership(descriptor_, level, MCAST_JOIN_GROUP, interfaceIndex, group, source,
                            MCAST_JOIN_SOURCE_GROUP);
}

bool Socket::leave(OptionLevel level, std::uint32_t interfaceIndex, const SocketAddress& group,
                   const SocketAddress* source) noexcept {
    return changeMembership(descriptor_, level, MCAST_LEAVE_GROUP, interfaceIndex, group, source,
                            MCAST_LEAVE_SOURCE_GROUP);
}

std::int32_t Socket::send(const void* data, std::size_t size, const SocketAddress& remote, int (*map)(int)) noexcept {
    const NativeAddress native = toNative(remote);
    ssize_t sent = -1;
    do {
        sent = ::sendto(descriptor_, data, size, MSG_NOSIGNAL, native.get(), native.length);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) setLastError(map(errno));
    return static_cast<std::int32_t>(sent);
}

std::int32_t Socket::sendTo(const void* data, std::size_t size, const SocketAddress& remote) noexcept {
    return send(data, size, remote, sendError);
}

std::int32_t Socket::sendRawTo(const void* data, std::size_t size, const SocketAddress& remote) noexcept {
    return send(data, size, remote, generalError);
}

std::int32_t Socket::receive(void* buffer, std::size_t capacity) noexcept {
    ssize_t length = -1;
    do {
        // Without waiting: poll can tell of a datagram that the read then drops for its checksum.
        length = ::recv(descriptor_, buffer, capacity, MSG_TRUNC | MSG_DONTWAIT);
    } while (length < 0 && errno == EINTR);
    if (length < 0) {
        setLastError(generalError(errno));
        return -1;
    }
    if (static_cast<std::size_t>(length) > capacity) {
        setLastError(SocketMessageSize);
        return -1;
    }
    return static_cast<std::int32_t>(length);
}

bool Socket::waitReadable(std::int32_t microseconds) noexcept {
    if (microseconds < 0) return false;
    pollfd watched{descriptor_, POLLIN, 0};
    // The system call itself, unlike the library's, writes back the time that is left: an interrupted wait goes on
    // without a clock being read, which at full speed would cost as much as the look.
    timespec left{microseconds / 1'000'000, microseconds % 1'000'000 * 1000L};
    int ready = -1;
    do {
        ready = static_cast<int>(syscall(SYS_ppoll, &watched, 1UL, &left, nullptr, std::size_t{_NSIG / 8}));
    } while (ready < 0 && errno == EINTR);
    return ready == 1 && (watched.revents & POLLIN) != 0;
}

bool Socket::aimAt(const SocketAddress& remote) noexcept {
    SocketAddress target = remote;
    if (target.port() == 0) target.setPort(9);  // connect wants a port; nothing is sent
    const NativeAddress native = toNative(target);
    return settle(::connect(descriptor_, native.get(), native.length) == 0);
}

SocketAddress Socket::boundAddress() const noexcept {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    if (getsockname(descriptor_, reinterpret_cast<sockaddr*>(&storage), &size) != 0) return {};
    return fromNative(storage);
}

}  // namespace mcgate::platform
