#include "streams/destination_watch.h"

#include <utility>

#include "platform/socket.h"

namespace mcgate::host {

namespace {

struct Finding {
    std::string fault;  ///< empty: there is a way
    bool noSuchAddress = false;
};

bool isLinkLocalWithoutInterface(const platform::SocketAddress& one) { return isLinkLocal(one) && one.scope() == 0; }

// As the filter makes its sockets: bound to the local address. A group needs no route, since its interface is chosen.
Finding findingOf(const SendUrl& url) {
    platform::SocketAddress local;
    platform::SocketAddress remote;
    if (platform::resolveNumeric(url.local, 0, local) != 0 || platform::resolveNumeric(url.remote, 0, remote) != 0) {
        return {};  // a property page left a text that is no address, and the filter says so
    }
    // The filter finds the interface of a link-local address by itself.
    if (isLinkLocalWithoutInterface(local) || isLinkLocalWithoutInterface(remote)) return {};
    auto socket = platform::Socket::openDatagram(local.family());
    if (socket.valid() && !socket.bind(local)) return {url.local + " is no address of this host", true};
    remote.setPort(url.port);
    if (!socket.valid() || isGroup(url.remote) || socket.aimAt(remote)) return {};
    return {"the system has no way to " + url.remote};
}

}  // namespace

StreamValues::Destination DestinationWatch::look(const std::string& text, const SendUrl& url) {
    auto [finding, noSuchAddress] = findingOf(url);
    const auto [place, isFirst] = known_.try_emplace(text);
    Known& known = place->second;
    if (isFirst && noSuchAddress) {
        known = {finding + "; it is left out of this run", true};
        tell(1, text + ": " + known.fault);
    } else if (!known.leftOut && known.fault != finding) {
        known.fault = std::move(finding);
        tell(known.fault.empty() ? 2 : 1,
             text + ": " +
                 (known.fault.empty() ? "there is a way again" : known.fault + "; what is sent there is lost"));
    }
    return {text, known.fault};
}

void DestinationWatch::tell(std::uint32_t level, const std::string& text) const {
    Notice notice;
    notice.level = level;
    notice.text = text;
    sink_(notice);
}

}  // namespace mcgate::host
