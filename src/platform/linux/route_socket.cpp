#include "platform/linux/route_socket.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/errors.h"
#include "platform/linux/error_map.h"

namespace mcgate::platform {

namespace {

RouteSocket::Result failed(int error) {
    setLastError(generalError(error));
    return RouteSocket::Result::Failed;
}

// A dump that fails on its way tells so in the message that ends it.
RouteSocket::Result endOfDump(const nlmsghdr& message, bool torn) {
    std::int32_t error = 0;
    if (NLMSG_PAYLOAD(&message, 0) >= sizeof error) std::memcpy(&error, NLMSG_DATA(&message), sizeof error);
    if (error < 0) return failed(-error);
    return torn ? RouteSocket::Result::Torn : RouteSocket::Result::Whole;
}

}  // namespace

void eachMessage(const RouteMessages& messages, std::size_t length, const std::function<bool(const nlmsghdr&)>& each) {
    auto left = static_cast<unsigned>(length);
    for (auto* one = reinterpret_cast<const nlmsghdr*>(messages.data()); NLMSG_OK(one, left);
         one = NLMSG_NEXT(one, left)) {
        if (!each(*one)) return;
    }
}

void eachAttribute(const rtattr* first, std::size_t size, const std::function<void(const rtattr&)>& each) {
    auto left = static_cast<unsigned>(size);
    for (const rtattr* one = first; RTA_OK(one, left); one = RTA_NEXT(one, left)) each(*one);
}

RouteSocket::RouteSocket() noexcept : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {
    if (!socket_.valid()) failed(errno);
}

RouteSocket::Result RouteSocket::dump(std::uint16_t type, const Each& each) {
    return ask(type, NLM_F_DUMP, rtgenmsg{}, each);
}

RouteSocket::Result RouteSocket::link(std::uint32_t interfaceIndex, const Each& each) {
    ifinfomsg body{};
    body.ifi_index = static_cast<int>(interfaceIndex);
    return ask(RTM_GETLINK, 0, body, each);
}

RouteSocket::Result RouteSocket::route(const RouteQuestion<4>& question, const Each& each) {
    return ask(RTM_GETROUTE, 0, question, each);
}

RouteSocket::Result RouteSocket::route(const RouteQuestion<16>& question, const Each& each) {
    return ask(RTM_GETROUTE, 0, question, each);
}

template <class Body>
RouteSocket::Result RouteSocket::ask(std::uint16_t type, std::uint16_t flags, const Body& body, const Each& each) {
    if (!socket_.valid()) return Result::Failed;
    struct {
        nlmsghdr header;
        Body body;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    request.body = body;
    if (send(socket_.get(), &request, sizeof request, 0) < 0) return failed(errno);
    return readAnswer(each);
}

// A dump comes in several messages and ends with NLMSG_DONE; any other answer is one message.
RouteSocket::Result RouteSocket::readAnswer(const Each& each) {
    bool torn = false;
    std::optional<Result> result;
    while (!result) {
        const ssize_t length = recv(socket_.get(), messages_.data(), messages_.size(), 0);
        if (length < 0 && errno == EINTR) continue;
        if (length <= 0) return failed(errno);
        eachMessage(messages_, static_cast<std::size_t>(length), [&](const nlmsghdr& one) {
            torn = torn || (one.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
            if (one.nlmsg_type == NLMSG_ERROR) {
                result = failed(-static_cast<const nlmsgerr*>(NLMSG_DATA(&one))->error);
            } else if (one.nlmsg_type == NLMSG_DONE) {
                result = endOfDump(one, torn);
            } else {
                each(one);
                if ((one.nlmsg_flags & NLM_F_MULTI) == 0) result = Result::Whole;
            }
            return !result;
        });
    }
    return *result;
}

}  // namespace mcgate::platform
