#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/errors.h"
#include "platform/linux/error_map.h"
#include "platform/linux/native_address.h"
#include "platform/socket.h"

namespace mcgate::platform {

int resolveNumeric(const std::string& text, std::uint16_t port, SocketAddress& out) {
    if (text == "*") return EAI_NONAME;  // the library would take it for the any address
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_protocol = IPPROTO_UDP;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST | (port != 0 ? AI_NUMERICSERV : 0);
    const std::string service = port != 0 ? std::to_string(port) : std::string();
    addrinfo* list = nullptr;
    const int status = getaddrinfo(text.c_str(), port != 0 ? service.c_str() : nullptr, &hints, &list);
    if (status != 0) return status;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, &freeaddrinfo);
    sockaddr_storage storage{};
    if (list->ai_addrlen > sizeof storage) return 0;
    std::memcpy(&storage, list->ai_addr, list->ai_addrlen);
    out = fromNative(storage);
    return 0;
}

std::string resolveErrorText(int status) { return gai_strerror(status); }

std::string numericText(const SocketAddress& address) {
    char text[INET6_ADDRSTRLEN] = {};
    const int family = address.family() == kFamilyIPv4   ? AF_INET
                       : address.family() == kFamilyIPv6 ? AF_INET6
                                                         : AF_UNSPEC;
    if (family == AF_UNSPEC || inet_ntop(family, address.address(), text, sizeof text) == nullptr) return {};
    return text;
}

std::uint32_t ipv4WordOfText(const char* text) noexcept { return inet_addr(text); }

bool routedLocalAddress(const SocketAddress& remote, SocketAddress& local) noexcept {
    Socket socket = Socket::openDatagram(remote.family());
    if (!socket.valid() || !socket.aimAt(remote)) return false;
    local = socket.boundAddress();
    local.setPort(0);
    return true;
}

}  // namespace mcgate::platform
