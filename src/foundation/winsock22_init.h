#pragma once

#include "platform/socket.h"

namespace quorvel::cpp_utils::raii::v1 {

/// One counted start of the socket library, for the object's life. Each user has its own.
/// Errors: throws ExceptionTemplate<Winsock22Init> "unable to initialize Winsock 2.2" when the library does not start
/// or is not version 2.2.
struct Winsock22Init {
    explicit Winsock22Init(const mcgate::platform::SocketLibrary& library = mcgate::platform::socketLibrary());
    ~Winsock22Init();
    Winsock22Init(const Winsock22Init&) = delete;
    Winsock22Init& operator=(const Winsock22Init&) = delete;

private:
    const mcgate::platform::SocketLibrary& library_;
};

/// What a socket's invalid value is and how it is released: both are the Socket type's own.
struct SocketPolicy;

/// The check of the socket guard: throws ExceptionTemplate<StrongCheckPolicy<SocketPolicy>> "invalid handle value".
template <class Policy>
struct StrongCheckPolicy;
template <>
struct StrongCheckPolicy<SocketPolicy> {
    static mcgate::platform::Socket check(mcgate::platform::Socket socket);
};

}  // namespace quorvel::cpp_utils::raii::v1
