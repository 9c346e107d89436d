#include "network/net_listener.h"

#include <mutex>
#include <stdexcept>

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
    const std::lock_guard hold(socketLock_);
    auto socket = platform::Socket::openDatagram(EndpointFamily(target_));
    if (!socket.valid()) fail("CreateSocket socket");
    if (!socket.setReuseAddress() || !socket.setReceiveBuffer(kReceiveBuffer) || !socket.setOwnGroupsOnly()) {
        fail("CreateSocket setsockopt");
    }
    socket_ = std::move(socket);
}

void NetListener::BindSocket() {
    const std::lock_guard hold(socketLock_);
    bool bound = false;
    if (const auto* multicast = target_.multicast()) {
        std::uint32_t index = 0;
        FindInterfaceIndex(multicast->Local, index);  // a failure is the join's to report
        bound = socket_.bindToGroup(multicast->Group, multicast->Local.port(), index);
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
    const std::lock_guard hold(socketLock_);
    const std::uint32_t index = interfaceOf(*multicast);
    if (!socket_.join(levelOf(*multicast), index, multicast->Group, sourceOf(*multicast))) {
        fail("JoinMulticastSource setsockopt");
    }
}

void NetListener::LeaveMulticastSource() {
    const auto* multicast = target_.multicast();
    if (multicast == nullptr || !socket_.valid()) return;
    const std::lock_guard hold(socketLock_);
    const std::uint32_t index = interfaceOf(*multicast);
    if (!socket_.leave(levelOf(*multicast), index, multicast->Group, sourceOf(*multicast))) {
        fail("LeaveMulticastSource setsockopt");
    }
}

void NetListener::CloseSocket() {
    const std::lock_guard hold(socketLock_);
    if (socket_.valid() && !socket_.close()) fail("CloseSocket closesocket");
}

std::int32_t NetListener::Receive(char* buffer, std::uint32_t capacity) {
    const std::lock_guard hold(socketLock_);
    return socket_.receive(buffer, capacity);
}

bool NetListener::WaitForData(std::int32_t microseconds) {
    const std::lock_guard hold(socketLock_);
    return socket_.waitReadable(microseconds);
}

Endpoint& NetListener::GetEndpoint(Endpoint& out) {
    out = target_;
    return out;
}

}  // namespace quorvel::network::udp::lib_udp::v2_1
