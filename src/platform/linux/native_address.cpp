#include "platform/linux/native_address.h"

#include <netinet/in.h>

#include <cstring>

namespace mcgate::platform {

// Offsets of port, address and scope agree; the family number of IPv6 does not. Addresses are copied, never cast.
NativeAddress toNative(const SocketAddress& address) noexcept {
    NativeAddress native;
    sa_family_t family = AF_UNSPEC;
    if (address.family() == kFamilyIPv4) {
        family = AF_INET;
        native.length = sizeof(sockaddr_in);
    } else if (address.family() == kFamilyIPv6) {
        family = AF_INET6;
        native.length = sizeof(sockaddr_in6);
    }
    std::memcpy(&native.storage, address.bytes.data(), native.length);
    native.storage.ss_family = family;
    return native;
}

SocketAddress fromNative(const sockaddr_storage& storage) noexcept {
    SocketAddress address;
    if (storage.ss_family == AF_INET) {
        std::memcpy(address.bytes.data(), &storage, 8);  // family, port, address; the rest of the record is padding
        address.setFamily(kFamilyIPv4);
    } else if (storage.ss_family == AF_INET6) {
        std::memcpy(address.bytes.data(), &storage, sizeof(sockaddr_in6));
        address.setFamily(kFamilyIPv6);
    }
    return address;
}

}  // namespace mcgate::platform
