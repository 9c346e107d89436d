#pragma once
// Questions to the kernel about links and addresses, over routing netlink (RFC 3549; man rtnetlink). An answer is that
// of the network namespace in which the asking thread is.

#include <linux/if.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "platform/linux/file_descriptor.h"

namespace mcgate::platform {

/// Room for any one message, in bytes.
inline constexpr std::size_t kRouteMessageRoom = 32768;
using RouteMessages = std::array<char, kRouteMessageRoom>;

/// Calls `each` for the messages in the first `length` bytes until it gives false.
void eachMessage(const RouteMessages& messages, std::size_t length, const std::function<bool(const nlmsghdr&)>& each);
void eachAttribute(const rtattr* first, std::size_t size, const std::function<void(const rtattr&)>& each);

/// Whether an interface with these flags can carry data. Neither flag of the carrier will do alone: while a link comes
/// up or loses its last port, one is ahead of the other.
constexpr bool carriesData(unsigned flags) noexcept {
    constexpr unsigned kAll = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;
    return (flags & kAll) == kAll;
}

/// Asks for the way to an address of `Size` bytes; a source of zeros and an interface of 0 leave that open.
template <std::size_t Size>
struct RouteQuestion {
    rtmsg message;
    rtattr destinationHead;
    std::uint8_t destination[Size];
    rtattr sourceHead;
    std::uint8_t source[Size];
    rtattr interfaceHead;
    std::uint32_t interfaceIndex;
};

/// One at a time.
class RouteSocket {
public:
    RouteSocket() noexcept;

    enum class Result { Whole, Torn, Failed };
    using Each = std::function<void(const nlmsghdr&)>;

    /// Calls `each` for every record of the dump of links (RTM_GETLINK) or addresses (RTM_GETADDR). Torn: something
    /// changed meanwhile, so that records may be missing. Failed, with lastError(): the kernel refuses.
    Result dump(std::uint16_t type, const Each& each);
    /// Calls `each` for the RTM_NEWLINK of one interface. Failed, with lastError(): there is none, or as above.
    Result link(std::uint32_t interfaceIndex, const Each& each);
    /// Calls `each` for the RTM_NEWROUTE by which the kernel would send. Failed, with lastError(): it would not.
    Result route(const RouteQuestion<4>& question, const Each& each);
    Result route(const RouteQuestion<16>& question, const Each& each);

private:
    template <class Body>
    Result ask(std::uint16_t type, std::uint16_t flags, const Body& body, const Each& each);
    Result readAnswer(const Each& each);

    FileDescriptor socket_;
    alignas(nlmsghdr) RouteMessages messages_;
};

}  // namespace mcgate::platform
