#include "check/road.h"

#include "cli/url.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

// The URL's parts are known to be numeric; an empty one stays family 0.
platform::SocketAddress valueOf(const std::string& text) {
    platform::SocketAddress address;
    if (!text.empty()) platform::resolveNumeric(text, 0, address);
    return address;
}

}  // namespace

const platform::SocketAddress* Road::withoutItsLink() const noexcept {
    if (group) return nullptr;  // it finds its interface by the local address alone
    for (const auto* one : {&remote, &local}) {
        if (isLinkLocal(*one) && one->scope() == 0) return one;
    }
    return nullptr;
}

Road receiveRoad(const std::string& url) {
    const ReceiveUrl parts = parseReceiveUrl(url);
    Road road;
    road.url = url;
    road.group = isGroup(parts.group);
    if (road.group) road.remote = valueOf(parts.group);
    road.source = valueOf(parts.source);
    road.local = valueOf(parts.local);
    road.port = parts.port;
    return road;
}

Road sendRoad(const std::string& url) {
    const SendUrl parts = parseSendUrl(url);
    Road road;
    road.direction = Road::Direction::Send;
    road.url = url;
    road.group = isGroup(parts.remote);
    road.remote = valueOf(parts.remote);
    road.local = valueOf(parts.local);
    if (road.hasLocal() && isAny(road.local)) road.local = {};  // the same as none: the system chooses
    road.port = parts.port;
    return road;
}

}  // namespace mcgate::host
