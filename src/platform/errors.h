#pragma once
// Error numbers as the messages and statuses of this system show them; the kernel's own numbers are converted in
// platform/linux and nowhere else.

namespace mcgate::platform {

enum Error : int {
    ErrorFileNotFound = 2,
    ErrorPathNotFound = 3,
    ErrorTooManyOpenFiles = 4,
    ErrorAccessDenied = 5,
    ErrorInvalidHandle = 6,
    ErrorNotEnoughMemory = 8,
    ErrorInvalidData = 13,
    ErrorGenFailure = 31,
    ErrorLockViolation = 33,
    ErrorDiskFull = 112,
    ErrorInsufficientBuffer = 122,
    SocketAccess = 10013,
    SocketFault = 10014,
    SocketInvalid = 10022,
    SocketTooManyOpen = 10024,
    SocketWouldBlock = 10035,
    SocketNotSocket = 10038,
    SocketMessageSize = 10040,
    SocketNoProtocolOption = 10042,
    SocketProtocolNotSupported = 10043,
    SocketOperationNotSupported = 10045,
    SocketFamilyNotSupported = 10047,
    SocketAddressInUse = 10048,
    SocketAddressNotAvailable = 10049,
    SocketNetworkDown = 10050,
    SocketNetworkUnreachable = 10051,
    SocketConnectionReset = 10054,
    SocketNoBuffers = 10055,
    SocketTimedOut = 10060,
    SocketConnectionRefused = 10061,
    SocketHostDown = 10064,
    SocketHostUnreachable = 10065,
};

/// The error of this thread's last failed platform call; successful calls leave it as it is.
int lastError() noexcept;
void setLastError(int error) noexcept;

}  // namespace mcgate::platform
