#include "platform/adapters.h"

#include <linux/if_addr.h>
#include <sys/socket.h>

#include <cstring>
#include <map>

#include "platform/linux/route_socket.h"

namespace mcgate::platform {

namespace {

SocketAddress addressOf(std::uint16_t family, const rtattr& attribute) {
    SocketAddress address;
    address.setFamily(family);
    std::memcpy(address.address(), RTA_DATA(&attribute), family == kFamilyIPv4 ? 4 : 16);
    return address;
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
        byIndex[index].running = carriesData(header.ifi_flags);
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

bool listAllAdapters(std::vector<Adapter>& adapters) {
    constexpr int kTries = 4;  // a host whose interfaces never rest gets the last answer, torn or not
    adapters.clear();
    std::map<std::uint32_t, Adapter> byIndex;
    Result result = Result::Torn;
    for (int i = 0; i < kTries && result == Result::Torn; ++i) {
        byIndex.clear();
        result = dumpAdapters(byIndex);
    }
    if (result == Result::Failed) return false;
    for (auto& [index, adapter] : byIndex) adapters.push_back(std::move(adapter));
    return true;
}

bool listAdapters(std::vector<Adapter>& adapters) {
    if (!listAllAdapters(adapters)) return false;
    std::erase_if(adapters, [](const Adapter& one) { return one.unicast.empty(); });
    return true;
}

}  // namespace mcgate::platform
