#pragma once
// Exceptions that carry a status. They are thrown where a failed interface call must give a value back and so cannot
// give its status.

#include <exception>
#include <string>

#include "platform/hresult.h"

/// Base of COMException; not related to the versioned class of the same name.
class QuorvelException : public std::exception {};

/// Holds no text until somebody asks for one: each call of what() builds it anew, "COM Error " or "Quorvel Error " with
/// the code in lower-case hexadecimal. One thread at a time.
class COMException : public QuorvelException {
public:
    explicit COMException(HRESULT status) noexcept : code(status) {}
    const char* what() const noexcept override;
    /// Writes both texts and gives the one without prefix and number. Throws std::bad_alloc.
    virtual const char* BuildMessage() const;

    const HRESULT code;

private:
    mutable std::string fullText;
    mutable std::string errorText;
};

namespace quorvel::system::com_utils::v1 {

/// The status exception of other libraries; the receiver's start understands it.
class COMException : public std::exception {
public:
    explicit COMException(HRESULT status) noexcept : code(status) {}
    const HRESULT code;
};

}  // namespace quorvel::system::com_utils::v1

namespace ATL {

/// Thrown when a synchronisation object can't be made. Derives from nothing, so no std::exception handler sees it.
struct CAtlException {
    HRESULT status = E_FAIL;
};

}  // namespace ATL
