#include "platform/routes.h"

#include <netinet/in.h>

#include <cerrno>
#include <cstring>

#include "platform/errors.h"
#include "platform/linux/error_map.h"
#include "platform/linux/route_socket.h"

namespace mcgate::platform {

namespace {

template <std::size_t Size>
RouteQuestion<Size> questionOf(const SocketAddress& remote, const SocketAddress& from, std::uint32_t interfaceIndex) {
    RouteQuestion<Size> question{};
    question.message.rtm_family = Size == 4 ? AF_INET : AF_INET6;
    question.message.rtm_dst_len = Size * 8;
    question.message.rtm_src_len = from.family() == kFamilyNone ? 0 : Size * 8;
    question.destinationHead = {RTA_LENGTH(Size), RTA_DST};
    std::memcpy(question.destination, remote.address(), Size);
    question.sourceHead = {RTA_LENGTH(Size), RTA_SRC};  // an any address, as an interface of 0, asks nothing
    if (from.family() == remote.family()) std::memcpy(question.source, from.address(), Size);
    question.interfaceHead = {RTA_LENGTH(sizeof question.interfaceIndex), RTA_OIF};
    question.interfaceIndex = interfaceIndex;
    return question;
}

// Errors of routes that refuse: IPv4 gives them as the answer's error, IPv6 as a kind of route.
int refusalOf(unsigned char kind) {
    switch (kind) {
        case RTN_UNREACHABLE:
            return EHOSTUNREACH;
        case RTN_PROHIBIT:
            return EACCES;
        case RTN_BLACKHOLE:
            return EINVAL;
        default:
            return 0;
    }
}

/// An answer as it is read.
struct Answer {
    Route route;
    int refusal = 0;

    void read(const nlmsghdr& record, std::uint16_t family) {
        if (record.nlmsg_type != RTM_NEWROUTE) return;
        const auto& header = *static_cast<const rtmsg*>(NLMSG_DATA(&record));
        refusal = refusalOf(header.rtm_type);
        route.broadcast = header.rtm_type == RTN_BROADCAST;
        const std::size_t size = family == kFamilyIPv4 ? 4 : 16;
        eachAttribute(RTM_RTA(&header), RTM_PAYLOAD(&record), [&](const rtattr& one) {
            if (one.rta_type == RTA_OIF) std::memcpy(&route.interfaceIndex, RTA_DATA(&one), sizeof(std::uint32_t));
            if (one.rta_type != RTA_PREFSRC || RTA_PAYLOAD(&one) < size) return;
            route.source.setFamily(family);
            std::memcpy(route.source.address(), RTA_DATA(&one), size);
        });
    }
};

}  // namespace

bool findRoute(const SocketAddress& remote, const SocketAddress& from, std::uint32_t interfaceIndex, Route& route) {
    // A link-local address is one of its interface.
    const std::uint32_t index = remote.family() == kFamilyIPv6 && interfaceIndex == 0 ? remote.scope() : interfaceIndex;
    Answer answer;
    const auto read = [&](const nlmsghdr& record) { answer.read(record, remote.family()); };
    RouteSocket kernel;
    const auto result = remote.family() == kFamilyIPv6 ? kernel.route(questionOf<16>(remote, from, index), read)
                                                       : kernel.route(questionOf<4>(remote, from, index), read);
    if (result == RouteSocket::Result::Failed) return false;
    if (answer.refusal != 0) {
        setLastError(generalError(answer.refusal));
        return false;
    }
    route = answer.route;
    if (route.source.family() == kFamilyNone && from.family() == remote.family()) {  // it only tells what it chose
        route.source = from;
        route.source.setPort(0);
    }
    return true;
}

}  // namespace mcgate::platform
