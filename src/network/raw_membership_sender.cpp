#include "network/raw_membership_sender.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "platform/errors.h"

namespace quorvel::network::ip::igmp_socket::v0 {

namespace platform = mcgate::platform;

namespace {

constexpr std::uint8_t kVersion2Report = 0x16;

// RFC 1071, over whole 16-bit words in network order.
std::uint16_t internetChecksum(const std::array<std::uint8_t, 8>& message) noexcept {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < message.size(); i += 2)
        sum += static_cast<std::uint32_t>(message[i] << 8 | message[i + 1]);
    while ((sum >> 16) != 0) sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

}  // namespace

std::array<std::uint8_t, 8> membershipReport(std::uint32_t group) noexcept {
    std::array<std::uint8_t, 8> message{kVersion2Report};
    std::memcpy(message.data() + 4, &group, sizeof group);
    const std::uint16_t checksum = internetChecksum(message);
    message[2] = static_cast<std::uint8_t>(checksum >> 8);
    message[3] = static_cast<std::uint8_t>(checksum & 0xFF);
    return message;
}

CRawMembershipSender::CRawMembershipSender()
    : library_(std::make_unique<cpp_utils::raii::v1::Winsock22Init>()),
      socket_(std::make_unique<platform::Socket>(platform::Socket::openRawIgmp())) {}

std::int32_t CRawMembershipSender::SendMembershipReport(const char* group) {
    return static_cast<IRawMembershipSender*>(this)->SendMembershipReport(platform::ipv4WordOfText(group));
}

std::int32_t CRawMembershipSender::SendMembershipReport(std::uint32_t group) {
    const auto message = membershipReport(group);
    platform::SocketAddress remote;
    remote.setFamily(platform::kFamilyIPv4);
    std::memcpy(remote.address(), &group, sizeof group);
    const std::int32_t sent = socket_->sendRawTo(message.data(), message.size(), remote);
    if (sent < 0) {
        throw std::runtime_error("could not perform raw socket IGMP join. WSA error: " +
                                 std::to_string(platform::lastError()));
    }
    return sent;
}

}  // namespace quorvel::network::ip::igmp_socket::v0
