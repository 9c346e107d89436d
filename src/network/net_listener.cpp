#include "network/net_listener.h"

#include <stdexcept>

#include "foundation/critical_section_guard.h"
#include "foundation/format_text.h"
#include "platform/errors.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

namespace platform = mcgate::platform;

namespace {

constexpr std::int32_t kReceiveBuffer = 0x100000;

[[noreturn]] void fail(const char* step) {
    throw std::runtime_error(mcgate::foundation::FormatText("%s failed with %d", step, platform::lastError()));
}

std::uint32_t interfaceOf(const MulticastEndpoint& target) {
    std::uint32_t index = 0;
    if (!FindInterfaceIndex(target.Local, index)) {
        throw std::runtime_error("JoinMulticastSource: unable to retrieve interface Index");
    }
    return index;
}

SocketAddress anyAddress(std::uint16_t family, std::uint16_t port) {
    SocketAddress any;
    any.setFamily(family);
    any.setPort(port);
    return any;
}

platform::OptionLevel levelOf(const MulticastEndpoint& target) {
    return target.Local.family() == platform::kFamilyIPv6 ? platform::OptionLevel::IPv6 : platform::OptionLevel::IPv4;
}

const SocketAddress* sourceOf(const MulticastEndpoint& target) {
    return target.Source.family() != platform::kFamilyNone ? &target.Source : nullptr;
}

}  // namespace

NetListener::NetListener(const Endpoint& target) : target_(target) {
    CreateSocket();
    BindSocket();
    JoinMulticastSource();
}

NetListener::~NetListener() {
    try {
        LeaveMulticastSource();
        CloseSocket();
    } catch (const std::exception&) {
        // The interface may have gone: the kernel has dropped the membership with it, and the socket closes all the
        // same.
        socket_ = {};
    }
}

void NetListener::CreateSocket() {
    const mcgate::foundation::CriticalSectionGuard hold(socketLock_);
    auto socket = platform::Socket::openDatagram(EndpointFamily(target_));
    if (!socket.valid()) fail("CreateSocket socket");
    if (!socket.setReuseAddress() || !socket.setReceiveBuffer(kReceiveBuffer)) fail("CreateSocket setsockopt");
    socket.setOwnGroupsOnly();  // a kernel without the option still listens, if less exactly
    socket_ = std::move(socket);
}

void NetListener::BindSocket() {
    const mcgate::foundation::CriticalSectionGuard hold(socketLock_);
    bool bound = false;
    if (const auto* multicast = target_.multicast()) {
        // An unknown interface or a mix of families is the join's to report, so that the message names it.
        std::uint32_t index = 0;
        const bool joinable =
            FindInterfaceIndex(multicast->Local, index) && multicast->Group.family() == multicast->Local.family();
        bound = joinable ? socket_.bindToGroup(multicast->Group, multicast->Local.port(), index)
                         : socket_.bind(anyAddress(multicast->Local.family(), multicast->Local.port()));
    } else {
        bound = socket_.bind(EndpointLocal(target_));
    }
    if (bound) return;
    const int error = platform::lastError();
    socket_ = {};
    platform::setLastError(error);
    fail("BindSocket bind");
}

void NetListener::JoinMulticastSource() {
    const auto* multicast = target_.multicast();
    if (multicast == nullptr) return;
    const mcgate::foundation::CriticalSectionGuard hold(socketLock_);
    const std::uint32_t index = interfaceOf(*multicast);
    if (!socket_.join(levelOf(*multicast), index, multicast->Group, sourceOf(*multicast))) {
        fail("JoinMulticastSource setsockopt");
    }
}

void NetListener::LeaveMulticastSource() {
    const auto* multicast = target_.multicast();
    if (multicast == nullptr || !socket_.valid()) return;
    const mcgate::foundation::CriticalSectionGuard hold(socketLock_);
    const std::uint32_t index = interfaceOf(*multicast);
    if (!socket_.leave(levelOf(*multicast), index, multicast->Group, sourceOf(*multicast))) {
        fail("LeaveMulticastSource setsockopt");
    }
}

void NetListener::CloseSocket() {
    const mcgate::foundation::CriticalSectionGuard hold(socketLock_);
    if (socket_.valid() && !socket_.close()) fail("CloseSocket closesocket");
}

std::int32_t NetListener::Receive(char* buffer, std::uint32_t capacity) {
    const mcgate::foundation::CriticalSectionGuard hold(socketLock_);
    return socket_.receive(buffer, capacity);
}

bool NetListener::WaitForData(std::int32_t microseconds) {
    const mcgate::foundation::CriticalSectionGuard hold(socketLock_);
    return socket_.waitReadable(microseconds);
}

Endpoint& NetListener::GetEndpoint(Endpoint& out) {
    out = target_;
    return out;
}

}  // namespace quorvel::network::udp::lib_udp::v2_1
