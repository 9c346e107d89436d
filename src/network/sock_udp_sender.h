#pragma once

#include "foundation/winsock22_init.h"
#include "network/address.h"
#include "network/udp_sender.h"
#include "platform/socket.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

/// A UDP socket bound and tuned for one pair of addresses: TTL 64, a send buffer of 6,553,600 bytes, port of the
/// system's choice. A unicast sender is bound to Local, a multicast one to the wildcard with Local's interface chosen
/// for sending. Threads: construction by one, send by one at a time (NetSender's lock). Errors:
/// ExceptionTemplate<SockUdpSender> that names the step; send throws "unable to send packet (WSA error code N)" for
/// every error but 10065 and 10049, which stand for a lost route, interface or address: the packet then counts as sent.
class SockUdpSender final : public UdpSender {
public:
    explicit SockUdpSender(const DestinationAddresses& addresses);
    void send(const UdpPacket& packet) override;

private:
    void bindLocal(bool multicast);
    void chooseInterface();

    const DestinationAddresses addresses_;
    const cpp_utils::raii::v1::Winsock22Init library_;
    mcgate::platform::Socket socket_;
};

}  // namespace quorvel::network::udp::lib_udp::v2_1
