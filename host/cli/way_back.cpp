#include "cli/way_back.h"

#include <vector>

#include "platform/adapters.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

using platform::SocketAddress;

// This host's: one that a socket can be bound to; of a link-local address without its interface the system's road
// tells.
bool isOwn(const SocketAddress& address) {
    SocketAddress own = address;
    own.setPort(0);
    auto socket = platform::Socket::openDatagram(own.family());
    SocketAddress local;
    return (socket.valid() && socket.bind(own)) ||
           (platform::routedLocalAddress(address, local) && sameAddress(local, address));
}

// By which a group is sent or joined: the one given, else the system's choice; of no family where that has none.
SocketAddress localOf(const SocketAddress& group, const std::string& given) {
    SocketAddress local;
    if (platform::resolveNumeric(given, 0, local) == 0 && !isAny(local)) return local;
    return platform::routedLocalAddress(group, local) ? local : SocketAddress();
}

// The index of the interface with the address; 0 where none has it.
std::uint32_t interfaceOf(const SocketAddress& local) {
    if (isLinkLocal(local) && local.scope() != 0) return local.scope();
    std::vector<platform::Adapter> adapters;
    platform::listAdapters(adapters);
    for (const auto& adapter : adapters) {
        for (const auto& address : adapter.unicast) {
            if (sameAddress(address.address, local)) return adapter.index;
        }
    }
    return 0;
}

bool groupComesBack(const SocketAddress& group, const SendUrl& to, const ReceiveUrl& from) {
    const SocketAddress sentBy = localOf(group, to.local);
    SocketAddress source;
    if (platform::resolveNumeric(from.source, 0, source) == 0 && !isAny(source) && !sameAddress(source, sentBy)) {
        return false;
    }
    if (to.local == from.local) return true;
    const std::uint32_t index = interfaceOf(sentBy);
    return index != 0 && index == interfaceOf(localOf(group, from.local));
}

}  // namespace

bool comesBack(const SendUrl& to, const ReceiveUrl& from) {
    SocketAddress remote;
    SocketAddress group;
    SocketAddress local;
    if (to.port != from.port || platform::resolveNumeric(to.remote, to.port, remote) != 0 ||
        platform::resolveNumeric(from.group, 0, group) != 0) {
        return false;
    }
    if (isMulticast(group)) return sameAddress(remote, group) && groupComesBack(group, to, from);
    if (platform::resolveNumeric(from.local, 0, local) != 0) return false;
    if (isAny(remote)) {  // Linux takes it to this host
        platform::resolveNumeric(remote.family() == platform::kFamilyIPv6 ? "::1" : "127.0.0.1", 0, remote);
    }
    return isAny(local) ? remote.family() == local.family() && isOwn(remote) : sameAddress(remote, local);
}

}  // namespace mcgate::host
