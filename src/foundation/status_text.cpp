#include <array>
#include <utility>

#include "foundation/status.h"
#include "platform/errors.h"

namespace {

using namespace mcgate::platform;

constexpr std::array kTexts{
    std::pair{S_OK, "Success"},
    std::pair{VFW_S_NO_MORE_ITEMS, "No more items"},
    std::pair{VFW_S_NO_STOP_TIME, "Sample has no stop time"},
    std::pair{E_NOTIMPL, "Not supported"},
    std::pair{E_NOINTERFACE, "Interface not supported"},
    std::pair{E_POINTER, "Invalid pointer"},
    std::pair{makeStatus(0x80004004), "Operation aborted"},
    std::pair{E_FAIL, "Unspecified failure"},
    std::pair{E_UNEXPECTED, "Unexpected failure"},
    std::pair{E_OUTOFMEMORY, "Out of memory"},
    std::pair{E_INVALIDARG, "Invalid argument"},
    std::pair{CLASS_E_NOAGGREGATION, "Class can't be aggregated"},
    std::pair{CLASS_E_CLASSNOTAVAILABLE, "Class not available"},
    std::pair{makeStatus(0x80040154), "Class not registered"},
    std::pair{makeStatus(0x80030001), "Stream operation not supported"},
    std::pair{makeStatus(0x80030005), "Access to the stream denied"},
    std::pair{makeStatus(0x80030009), "Invalid stream pointer"},
    std::pair{STG_E_WRITEFAULT, "Stream could not be written"},
    std::pair{STG_E_READFAULT, "Stream could not be read"},
    std::pair{STG_E_MEDIUMFULL, "No space left for the stream"},
    std::pair{VFW_E_INVALIDMEDIATYPE, "Invalid media type"},
    std::pair{makeStatus(0x80040201), "Invalid media subtype"},
    std::pair{makeStatus(0x80040202), "Object needs an outer object"},
    std::pair{VFW_E_ENUM_OUT_OF_SYNC, "Enumerator out of date"},
    std::pair{VFW_E_ALREADY_CONNECTED, "Pin already connected"},
    std::pair{VFW_E_FILTER_ACTIVE, "Filter is active"},
    std::pair{VFW_E_NO_TYPES, "Pin offers no media type"},
    std::pair{VFW_E_NO_ACCEPTABLE_TYPES, "No media type suits both pins"},
    std::pair{VFW_E_INVALID_DIRECTION, "Pins have the same direction"},
    std::pair{VFW_E_NOT_CONNECTED, "Pin not connected"},
    std::pair{VFW_E_NO_ALLOCATOR, "No sample allocator"},
    std::pair{VFW_E_RUNTIME_ERROR, "Run-time error in the stream"},
    std::pair{makeStatus(0x8004020C), "Buffer not set"},
    std::pair{VFW_E_BUFFER_OVERFLOW, "Buffer too small"},
    std::pair{VFW_E_BADALIGN, "Invalid alignment"},
    std::pair{VFW_E_ALREADY_COMMITTED, "Allocator already committed"},
    std::pair{VFW_E_BUFFERS_OUTSTANDING, "Samples still in use"},
    std::pair{VFW_E_NOT_COMMITTED, "Allocator not active"},
    std::pair{VFW_E_SIZENOTSET, "Allocator size not set"},
    std::pair{VFW_E_NO_CLOCK, "No reference clock"},
    std::pair{makeStatus(0x80040214), "No event sink"},
    std::pair{makeStatus(0x80040215), "Required interface missing"},
    std::pair{VFW_E_NOT_FOUND, "Not found"},
    std::pair{VFW_E_CANNOT_CONNECT, "Pins can't be connected"},
    std::pair{makeStatus(0x80040218), "Pin can't be rendered"},
    std::pair{makeStatus(0x80040219), "Format is being changed"},
    std::pair{makeStatus(0x80040223), "State changed meanwhile"},
    std::pair{VFW_E_NOT_STOPPED, "Filter not stopped"},
    std::pair{makeStatus(0x80040225), "Filter not paused"},
    std::pair{makeStatus(0x80040226), "Filter not running"},
    std::pair{VFW_E_WRONG_STATE, "Wrong state"},
    std::pair{VFW_E_START_TIME_AFTER_END, "Start time after the stop time"},
    std::pair{VFW_E_TYPE_NOT_ACCEPTED, "Media type not accepted"},
    std::pair{makeStatus(0x8004022B), "Sample rejected"},
    std::pair{makeStatus(0x8004022C), "Sample rejected, stream ended"},
    std::pair{makeStatus(0x8004022D), "Name already in the graph"},
    std::pair{VFW_E_TIMEOUT, "Time-out"},
    std::pair{VFW_E_INVALID_FILE_FORMAT, "Invalid file format"},
    std::pair{VFW_E_SAMPLE_TIME_NOT_SET, "Sample has no time"},
    std::pair{VFW_E_MEDIA_TIME_NOT_SET, "Sample has no media time"},
    std::pair{makeStatus(0x8004025F), "Filter not in the graph"},
    // Error numbers of the platform under 0x80070000.
    std::pair{HRESULT_FROM_WIN32(2), "File not found"},
    std::pair{HRESULT_FROM_WIN32(3), "Path not found"},
    std::pair{HRESULT_FROM_WIN32(5), "Access denied"},
    std::pair{HRESULT_FROM_WIN32(6), "Invalid handle"},
    std::pair{HRESULT_FROM_WIN32(8), "Not enough memory"},
    std::pair{HRESULT_FROM_WIN32(31), "Device does not work"},
    std::pair{HRESULT_FROM_WIN32(38), "End of the file"},
    std::pair{HRESULT_FROM_WIN32(112), "No space left on the device"},
    std::pair{HRESULT_FROM_WIN32(126), "Module not found"},
    std::pair{HRESULT_FROM_WIN32(127), "Entry point not found"},
    std::pair{HRESULT_FROM_WIN32(SocketAccess), "Socket access denied"},
    std::pair{HRESULT_FROM_WIN32(SocketFault), "Invalid socket address pointer"},
    std::pair{HRESULT_FROM_WIN32(SocketInvalid), "Invalid socket argument"},
    std::pair{HRESULT_FROM_WIN32(SocketTooManyOpen), "Too many open sockets"},
    std::pair{HRESULT_FROM_WIN32(SocketWouldBlock), "Socket would block"},
    std::pair{HRESULT_FROM_WIN32(SocketNotSocket), "Not a socket"},
    std::pair{HRESULT_FROM_WIN32(SocketMessageSize), "Datagram too long"},
    std::pair{HRESULT_FROM_WIN32(SocketNoProtocolOption), "Unknown socket option"},
    std::pair{HRESULT_FROM_WIN32(SocketProtocolNotSupported), "Protocol not supported"},
    std::pair{HRESULT_FROM_WIN32(SocketOperationNotSupported), "Socket operation not supported"},
    std::pair{HRESULT_FROM_WIN32(SocketFamilyNotSupported), "Address family not supported"},
    std::pair{HRESULT_FROM_WIN32(SocketAddressInUse), "Address in use"},
    std::pair{HRESULT_FROM_WIN32(SocketAddressNotAvailable), "Address not available"},
    std::pair{HRESULT_FROM_WIN32(SocketNetworkDown), "Network down"},
    std::pair{HRESULT_FROM_WIN32(SocketNetworkUnreachable), "Network unreachable"},
    std::pair{HRESULT_FROM_WIN32(SocketConnectionReset), "Connection reset"},
    std::pair{HRESULT_FROM_WIN32(SocketNoBuffers), "No buffer space"},
    std::pair{HRESULT_FROM_WIN32(SocketTimedOut), "Socket time-out"},
    std::pair{HRESULT_FROM_WIN32(SocketConnectionRefused), "Connection refused"},
    std::pair{HRESULT_FROM_WIN32(SocketHostDown), "Host down"},
    std::pair{HRESULT_FROM_WIN32(SocketHostUnreachable), "Host unreachable"},
};

}  // namespace

std::string GetStatusText(HRESULT status) {
    for (const auto& [known, text] : kTexts) {
        if (known == status) return text;
    }
    return "Invalid error code";
}
