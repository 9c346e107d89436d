#include "network/sock_udp_sender.h"

#include <algorithm>
#include <string>

#include "foundation/exceptions.h"
#include "platform/errors.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

namespace platform = mcgate::platform;

namespace {

constexpr std::int32_t kHops = 64;
constexpr std::int32_t kSendBuffer = 6'553'600;

void require(bool done, const char* text) {
    if (!done) throw cpp_utils::exception_utils::v1::ExceptionTemplate<SockUdpSender>(text);
}

}  // namespace

SockUdpSender::SockUdpSender(const DestinationAddresses& addresses)
    : addresses_(addresses),
      socket_(cpp_utils::raii::v1::StrongCheckPolicy<cpp_utils::raii::v1::SocketPolicy>::check(
          platform::Socket::openDatagram(addresses.Remote.family()))) {
    const bool multicast = IsMulticastAddress(addresses_.Remote);
    const auto level =
        addresses_.Local.family() == platform::kFamilyIPv6 ? platform::OptionLevel::IPv6 : platform::OptionLevel::IPv4;
    require(socket_.setReuseAddress(), "unable to set SO_REUSEADDR");
    bindLocal(multicast);
    require(socket_.setTtl(level, multicast, kHops), "unable to set TTL");
    if (multicast) chooseInterface();
    require(socket_.setSendBuffer(kSendBuffer), "unable to set SO_SNDBUF");
}

void SockUdpSender::bindLocal(bool multicast) {
    SocketAddress local = addresses_.Local;
    local.setPort(0);
    if (multicast) {
        SocketAddress any;
        any.setFamily(local.family());
        local = any;
        socket_.setOwnGroupsOnly();  // nothing is read here, so nothing should queue here
    }
    require(socket_.bind(local), "unable to bind to the given address");
}

void SockUdpSender::chooseInterface() {
    if (addresses_.Local.family() != platform::kFamilyIPv6) {
        require(socket_.setMulticastInterface(addresses_.Local.ipv4Word()), "unable to set multicast interface");
        return;
    }
    std::uint32_t index = 0;
    require(FindInterfaceIndex(addresses_.Local, index), "unable to retrieve interface Index");
    require(socket_.setMulticastInterfaceIndex(index), "unable to set multicast interface");
}

void SockUdpSender::send(const UdpPacket& packet) {
    if (socket_.sendTo(packet.payload.data(), packet.size, addresses_.Remote) == packet.size) return;
    const int error = platform::lastError();
    if (error == platform::SocketHostUnreachable || error == platform::SocketAddressNotAvailable) return;
    throw cpp_utils::exception_utils::v1::ExceptionTemplate<SockUdpSender>("unable to send packet (WSA error code " +
                                                                           std::to_string(error) + ")");
}

}  // namespace quorvel::network::udp::lib_udp::v2_1
