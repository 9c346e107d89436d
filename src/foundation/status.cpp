#include "foundation/status.h"

#include <exception>
#include <new>

#include "foundation/com_exception.h"
#include "foundation/format_text.h"
#include "platform/errors.h"

void ThrowStatus(HRESULT status) { throw ATL::CAtlException{status}; }

void ThrowLastError() { ThrowStatus(HRESULT_FROM_WIN32(mcgate::platform::lastError())); }

namespace mcgate::foundation {

namespace {

// An exception means that something failed, whatever status it carries.
HRESULT failureOf(HRESULT status) noexcept { return FAILED(status) ? status : E_FAIL; }

}  // namespace

HRESULT statusOfCurrentException() noexcept {
    try {
        throw;
    } catch (const COMException& failure) {
        return failureOf(failure.code);
    } catch (const quorvel::system::com_utils::v1::COMException& failure) {
        return failureOf(failure.code);
    } catch (const ATL::CAtlException& failure) {
        return failureOf(failure.status);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

std::string textOfCurrentException() {
    try {
        throw;
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (const ATL::CAtlException& failure) {
        return FormatText("status %08x: %s", static_cast<unsigned>(failure.status),
                          GetStatusText(failure.status).c_str());
    } catch (...) {
        return "unknown failure";
    }
}

}  // namespace mcgate::foundation
