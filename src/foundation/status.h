#pragma once
// From error numbers and exceptions to statuses.

#include <cstdint>
#include <string>

#include "platform/hresult.h"

/// Throws ATL::CAtlException with the status.
[[noreturn]] void ThrowStatus(HRESULT status);
/// ThrowStatus of this thread's last platform error.
[[noreturn]] void ThrowLastError();

/// The product's own text for a failure code of its facility, or null.
const char* findErrorText(HRESULT status) noexcept;
/// A short text for a status that a platform or graph gives; "Invalid error code" for one nobody knows.
std::string GetStatusText(HRESULT status);

namespace mcgate::foundation {

/// To be called inside a handler for everything at a component boundary: the code of a status exception, E_OUTOFMEMORY
/// for std::bad_alloc, E_FAIL for anything else.
HRESULT statusOfCurrentException() noexcept;

/// The status that `step` gives, or that of what it throws: for calls into code of a host or a derived class, which may
/// throw where the caller must not.
template <class Step>
HRESULT guarded(Step&& step) noexcept {
    try {
        return step();
    } catch (...) {
        return statusOfCurrentException();
    }
}

/// The text of the exception being handled, for a log line: what() of a std::exception, the status for one that carries
/// only that.
std::string textOfCurrentException();

}  // namespace mcgate::foundation
