#include <array>
#include <utility>

#include "foundation/status.h"

namespace {

constexpr std::array kTexts{
    std::pair{S_OK, "Success"},
    std::pair{E_NOTIMPL, "Not supported"},
    std::pair{E_NOINTERFACE, "Interface not supported"},
    std::pair{E_POINTER, "Invalid pointer"},
    std::pair{E_FAIL, "Unspecified failure"},
    std::pair{E_UNEXPECTED, "Unexpected failure"},
    std::pair{E_OUTOFMEMORY, "Out of memory"},
    std::pair{E_INVALIDARG, "Invalid argument"},
    std::pair{CLASS_E_CLASSNOTAVAILABLE, "Class not available"},
    std::pair{VFW_E_INVALIDMEDIATYPE, "Invalid media type"},
    std::pair{VFW_E_ALREADY_CONNECTED, "Pin already connected"},
    std::pair{VFW_E_NO_ACCEPTABLE_TYPES, "No media type suits both pins"},
    std::pair{VFW_E_INVALID_DIRECTION, "Pins have the same direction"},
    std::pair{VFW_E_NOT_CONNECTED, "Pin not connected"},
    std::pair{VFW_E_NO_ALLOCATOR, "No sample allocator"},
    std::pair{VFW_E_RUNTIME_ERROR, "Run-time error in the stream"},
    std::pair{VFW_E_BUFFER_OVERFLOW, "Buffer too small"},
    std::pair{VFW_E_BADALIGN, "Invalid alignment"},
    std::pair{VFW_E_ALREADY_COMMITTED, "Allocator already committed"},
    std::pair{VFW_E_BUFFERS_OUTSTANDING, "Samples still in use"},
    std::pair{VFW_E_NOT_COMMITTED, "Allocator not active"},
    std::pair{VFW_E_SIZENOTSET, "Allocator size not set"},
    std::pair{VFW_E_NO_CLOCK, "No reference clock"},
    std::pair{VFW_E_NOT_FOUND, "Not found"},
    std::pair{VFW_E_CANNOT_CONNECT, "Pins can't be connected"},
    std::pair{VFW_E_NOT_STOPPED, "Filter not stopped"},
    std::pair{VFW_E_WRONG_STATE, "Wrong state"},
    std::pair{VFW_E_TYPE_NOT_ACCEPTED, "Media type not accepted"},
    std::pair{VFW_E_TIMEOUT, "Time-out"},
    std::pair{VFW_E_INVALID_FILE_FORMAT, "Invalid file format"},
    std::pair{VFW_E_SAMPLE_TIME_NOT_SET, "Sample has no time"},
    std::pair{VFW_E_MEDIA_TIME_NOT_SET, "Sample has no media time"},
};

}  // namespace

std::string GetStatusText(HRESULT status) {
    for (const auto& [known, text] : kTexts) {
        if (known == status) return text;
    }
    return "Invalid error code";
}
