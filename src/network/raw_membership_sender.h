#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "foundation/winsock22_init.h"
#include "platform/socket.h"

namespace quorvel::network::ip::igmp_socket::v0 {

/// Sends a hand-made IGMPv2 Membership Report (RFC 2236), so that a snooping switch that forgot a group learns it
/// again.
class IRawMembershipSender {
public:
    virtual ~IRawMembershipSender() = default;
    /// As below, of an IPv4 text; one that is no address reports 255.255.255.255.
    virtual std::int32_t SendMembershipReport(const char* group) = 0;
    /// `group` in network byte order. Gives the number of bytes sent.
    /// Throws std::runtime_error "could not perform raw socket IGMP join. WSA error: N".
    virtual std::int32_t SendMembershipReport(std::uint32_t group) = 0;
};

/// The 8 bytes of the report for a group in network byte order.
std::array<std::uint8_t, 8> membershipReport(std::uint32_t group) noexcept;

/// Over a raw socket, by the system's route for the group. A socket refused for want of privilege shows at the first
/// report, not at construction. Threads: one, no lock. Errors: what Winsock22Init throws.
class CRawMembershipSender final : public IRawMembershipSender {
public:
    CRawMembershipSender();
    std::int32_t SendMembershipReport(const char* group) override;
    std::int32_t SendMembershipReport(std::uint32_t group) override;

private:
    const std::unique_ptr<cpp_utils::raii::v1::Winsock22Init> library_;
    const std::unique_ptr<mcgate::platform::Socket> socket_;
};

}  // namespace quorvel::network::ip::igmp_socket::v0
