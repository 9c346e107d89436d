#include "network/address.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "foundation/format_text.h"
#include "foundation/winsock22_init.h"
#include "platform/adapters.h"
#include "platform/socket.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

using mcgate::foundation::FormatText;
using mcgate::platform::kFamilyIPv4;
using mcgate::platform::kFamilyIPv6;

namespace {

// Network order: the first byte is the highest.
std::uint8_t firstByte(const SocketAddress& address) { return address.address()[0]; }

}  // namespace

int ResolveAddress(const std::string& text, std::uint32_t port, SocketAddress& out) {
    const cpp_utils::raii::v1::Winsock22Init library;
    return mcgate::platform::resolveNumeric(text, static_cast<std::uint16_t>(port), out);
}

void ResolveOrThrow(const std::string& text, SocketAddress& out) {
    if (ResolveAddress(text, 0, out) != 0) throw std::runtime_error("invalid ip address: " + text);
}

bool IsUnicastAddress(const SocketAddress& address) noexcept {
    if (address.family() == kFamilyIPv4) return firstByte(address) < 0xE0;
    return address.family() == kFamilyIPv6 && firstByte(address) != 0xFF;
}

bool IsMulticastAddress(const SocketAddress& address) noexcept { return mcgate::platform::isMulticast(address); }

bool IsAnyAddress(const SocketAddress& address) { return mcgate::platform::isAny(address); }

AddressText AddressToText(const SocketAddress& address) {
    if (address.family() != kFamilyIPv4 && address.family() != kFamilyIPv6) return {};
    return {mcgate::platform::numericText(address), address.port()};
}

SocketAddress resolve(const std::string& text, std::uint32_t port) {
    SocketAddress address;
    if (const int status = ResolveAddress(text, port, address); status != 0) {
        throw std::runtime_error(
            FormatText("getaddrinfo failed with %s", mcgate::platform::resolveErrorText(status).c_str()));
    }
    return address;
}

SocketAddress resolveUnicast(const std::string& text, std::uint32_t port) {
    const SocketAddress address = resolve(text, port);
    if (!IsUnicastAddress(address)) {
        throw std::runtime_error(FormatText("not a valid unicast address %s", text.c_str()));
    }
    return address;
}

DestinationAddresses MakeDestinationAddresses(const std::string& local, std::uint32_t port, const std::string& remote) {
    return {resolveUnicast(local, 0), resolve(remote, port)};
}

bool FindInterfaceIndex(const SocketAddress& local, std::uint32_t& index) {
    index = 0;
    std::vector<mcgate::platform::Adapter> adapters;
    if (!mcgate::platform::listAdapters(adapters)) return false;
    for (const auto& adapter : adapters) {
        for (const auto& address : adapter.unicast) {
            if (!sameAddress(address.address, local)) continue;
            index = adapter.index;
            return true;
        }
    }
    return false;
}

}  // namespace quorvel::network::udp::lib_udp::v2_1
