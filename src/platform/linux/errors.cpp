#include "platform/errors.h"

#include <cerrno>
#include <cstdio>

#include "platform/linux/error_map.h"
#include "platform/process/process.h"

namespace mcgate::platform {

namespace {

thread_local int lastErrorOfThread = 0;

int unknownError(int number) noexcept {
    char line[64];
    std::snprintf(line, sizeof line, "socket error number %d has no counterpart\n", number);
    process::writeDebugOutput(line);
    return SocketInvalid;
}

}  // namespace

int lastError() noexcept { return lastErrorOfThread; }

void setLastError(int error) noexcept { lastErrorOfThread = error; }

int generalError(int number) noexcept {
    switch (number) {
        case EBADF:
        case ENOTSOCK:
            return SocketNotSocket;
        case EACCES:
        case EPERM:
            return SocketAccess;
        case EFAULT:
            return SocketFault;
        case EINVAL:
            return SocketInvalid;
        case EMFILE:
        case ENFILE:
            return SocketTooManyOpen;
        case EAGAIN:
            return SocketWouldBlock;
        case EMSGSIZE:
            return SocketMessageSize;
        case ENOPROTOOPT:
            return SocketNoProtocolOption;
        case EPROTONOSUPPORT:
            return SocketProtocolNotSupported;
        case EOPNOTSUPP:
            return SocketOperationNotSupported;
        case EAFNOSUPPORT:
            return SocketFamilyNotSupported;
        case EADDRINUSE:
            return SocketAddressInUse;
        case EADDRNOTAVAIL:
        case ENODEV:
        case ENXIO:
            return SocketAddressNotAvailable;
        case ENETDOWN:
            return SocketNetworkDown;
        case ENETUNREACH:
            return SocketNetworkUnreachable;
        case ECONNRESET:
            return SocketConnectionReset;
        case ENOBUFS:
        case ENOMEM:
            return SocketNoBuffers;
        case ETIMEDOUT:
            return SocketTimedOut;
        case ECONNREFUSED:
            return SocketConnectionRefused;
        case EHOSTDOWN:
            return SocketHostDown;
        case EHOSTUNREACH:
            return SocketHostUnreachable;
        default:
            return unknownError(number);
    }
}

int sendError(int number) noexcept {
    switch (number) {
        case ENETUNREACH:
        case ENETDOWN:
        case EHOSTDOWN:
        case EHOSTUNREACH:
            return SocketHostUnreachable;
        case EADDRNOTAVAIL:
        case ENODEV:
        case ENXIO:
        // Descriptor and length are ours, so an invalid argument can only mean the addresses.
        case EINVAL:
            return SocketAddressNotAvailable;
        default:
            return generalError(number);
    }
}

}  // namespace mcgate::platform
