#pragma once

#include <sys/socket.h>

#include "platform/socket_address.h"

namespace mcgate::platform {

/// The kernel's form of an address; `length` is 0 for a family that it has no form for.
struct NativeAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;
    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&storage); }
};

NativeAddress toNative(const SocketAddress& address) noexcept;
SocketAddress fromNative(const sockaddr_storage& storage) noexcept;

}  // namespace mcgate::platform
