#include "platform/adapters.h"

#include <linux/if_addr.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <map>

#include "platform/errors.h"
#include "platform/linux/error_map.h"

namespace mcgate::platform {

namespace {

/// A netlink socket that asks the kernel for lists.
class RouteSocket {
public:
    RouteSocket() noexcept : descriptor_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {}
    ~RouteSocket() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    RouteSocket(const RouteSocket&) = delete;
    RouteSocket& operator=(const RouteSocket&) = delete;

    enum class Result { Whole, Torn, Failed };

    /// Calls `each` for every record of the dump. Torn: something changed meanwhile, so that records may be missing.
    /// Failed, with lastError(): the kernel refuses.
    Result dump(std::uint16_t type, const std::function<void(const nlmsghdr&)>& each) {
        struct {
            nlmsghdr header;
            rtgenmsg body;
        } request{};
        request.header.nlmsg_len = sizeof request;
        request.header.nlmsg_type = type;
        request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
        if (send(descriptor_, &request, sizeof request, 0) < 0) return failed();
        bool torn = false;
        for (;;) {
            const ssize_t length = recv(descriptor_, buffer_.data(), buffer_.size(), 0);
            if (length < 0 && errno == EINTR) continue;
            if (length <= 0) return failed();
            auto left = static_cast<unsigned>(length);
            for (auto* record = reinterpret_cast<const nlmsghdr*>(buffer_.data()); NLMSG_OK(record, left);
                 record = NLMSG_NEXT(record, left)) {
                if ((record->nlmsg_flags & NLM_F_DUMP_INTR) != 0) torn = true;
                if (record->nlmsg_type == NLMSG_DONE) return torn ? Result::Torn : Result::Whole;
                if (record->nlmsg_type == NLMSG_ERROR) {
                    errno = -static_cast<const nlmsgerr*>(NLMSG_DATA(record))->error;
                    return failed();
                }
                each(*record);
            }
        }
    }

private:
    static Result failed() {
        setLastError(generalError(errno));
        return Result::Failed;
    }
    int descriptor_;
    alignas(nlmsghdr) std::array<char, 32768> buffer_;
};

void eachAttribute(const rtattr* first, std::size_t size, const std::function<void(const rtattr&)>& each) {
    auto left = static_cast<unsigned>(size);
    for (const rtattr* one = first; RTA_OK(one, left); one = RTA_NEXT(one, left)) each(*one);
}

SocketAddress addressOf(std::uint16_t family, const rtattr& attribute) {
    SocketAddress address;
    address.setFamily(family);
    std::memcpy(address.address(), RTA_DATA(&attribute), family == kFamilyIPv4 ? 4 : 16);
    return address;
}

bool isLinkLocal(const SocketAddress& address) {
    return address.family() == kFamilyIPv6 && address.address()[0] == 0xFE && (address.address()[1] & 0xC0) == 0x80;
}

// Family 0 for an address that is neither IPv4 nor IPv6.
AdapterAddress addressOf(const nlmsghdr& record, const ifaddrmsg& header) {
    AdapterAddress result;
    const auto family = header.ifa_family == AF_INET    ? kFamilyIPv4
                        : header.ifa_family == AF_INET6 ? kFamilyIPv6
                                                        : kFamilyNone;
    if (family == kFamilyNone) return result;
    const std::size_t size = family == kFamilyIPv4 ? 4 : 16;
    result.prefixLength = header.ifa_prefixlen;
    bool local = false;  // the local address of a point-to-point link stands apart from the peer's
    eachAttribute(IFA_RTA(&header), IFA_PAYLOAD(&record), [&](const rtattr& one) {
        if (RTA_PAYLOAD(&one) < size) return;
        if (one.rta_type == IFA_BROADCAST) result.broadcast = addressOf(family, one);
        if ((one.rta_type != IFA_LOCAL && one.rta_type != IFA_ADDRESS) || local) return;
        local = one.rta_type == IFA_LOCAL;
        result.address = addressOf(family, one);
    });
    if (isLinkLocal(result.address)) result.address.setScope(header.ifa_index);
    return result;
}

std::uint32_t flagsOf(unsigned native) {
    std::uint32_t flags = 0;
    if ((native & IFF_UP) != 0) flags |= AdapterUp;
    if ((native & IFF_BROADCAST) != 0) flags |= AdapterBroadcast;
    if ((native & IFF_LOOPBACK) != 0) flags |= AdapterLoopback;
    if ((native & IFF_POINTOPOINT) != 0) flags |= AdapterPointToPoint;
    if ((native & IFF_MULTICAST) != 0) flags |= AdapterMulticast;
    return flags;
}

using Result = RouteSocket::Result;

Result dumpAdapters(std::map<std::uint32_t, Adapter>& byIndex) {
    RouteSocket kernel;
    const Result links = kernel.dump(RTM_GETLINK, [&byIndex](const nlmsghdr& record) {
        if (record.nlmsg_type != RTM_NEWLINK) return;
        const auto& header = *static_cast<const ifinfomsg*>(NLMSG_DATA(&record));
        const auto index = static_cast<std::uint32_t>(header.ifi_index);
        byIndex[index].index = index;
        byIndex[index].flags = flagsOf(header.ifi_flags);
        eachAttribute(IFLA_RTA(&header), IFLA_PAYLOAD(&record), [&](const rtattr& one) {
            if (one.rta_type == IFLA_IFNAME) byIndex[index].name = static_cast<const char*>(RTA_DATA(&one));
        });
    });
    if (links == Result::Failed) return links;
    const Result addresses = kernel.dump(RTM_GETADDR, [&byIndex](const nlmsghdr& record) {
        if (record.nlmsg_type != RTM_NEWADDR) return;
        const auto& header = *static_cast<const ifaddrmsg*>(NLMSG_DATA(&record));
        const AdapterAddress address = addressOf(record, header);
        if (address.address.family() == kFamilyNone) return;
        byIndex[header.ifa_index].index = header.ifa_index;
        byIndex[header.ifa_index].unicast.push_back(address);
    });
    return addresses == Result::Whole ? links : addresses;
}

}  // namespace

bool listAdapters(std::vector<Adapter>& adapters) {
    constexpr int kTries = 4;  // a host whose interfaces never rest gets the last answer, torn or not
    adapters.clear();
    std::map<std::uint32_t, Adapter> byIndex;
    Result result = Result::Torn;
    for (int i = 0; i < kTries && result == Result::Torn; ++i) {
        byIndex.clear();
        result = dumpAdapters(byIndex);
    }
    if (result == Result::Failed) return false;
    for (auto& [index, adapter] : byIndex) {
        if (!adapter.unicast.empty()) adapters.push_back(std::move(adapter));
    }
    return true;
}

}  // namespace mcgate::platform
