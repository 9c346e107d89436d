// The product's own failure codes: severity bit, facility 0x025, a number. None is raised in this module; they come
// from other components through failed interface calls.

#include <algorithm>
#include <iterator>

#include "foundation/status.h"

namespace {

struct Row {
    HRESULT status;
    const char* text;
};

constexpr bool operator<(const Row& row, HRESULT status) { return row.status < status; }

constexpr Row kErrorTable[] = {
    {makeStatus(0x80250000), "No error"},
    {makeStatus(0x80250001), "Internal error"},
    {makeStatus(0x80250002), "Video PID not found"},
    {makeStatus(0x80250003), "Audio PID not found"},
    {makeStatus(0x80250004), "Teletext PID not found"},
    {makeStatus(0x80250005), "DVB-Subtitle PID not found"},
    {makeStatus(0x80250006), "SCTE-35 PID not found"},
    {makeStatus(0x8025000D), "Invalid input resolution"},
    {makeStatus(0x8025000E), "Upmixing not allowed"},
    {makeStatus(0x8025000F), "Output audio bitrate exceeds input bitrate"},
    {makeStatus(0x80250010), "KLV PID not found"},
    {makeStatus(0x80250020), "Source configuration error"},
    {makeStatus(0x80250021), "No picture found"},
    {makeStatus(0x80250022), "SDI board not found"},
    {makeStatus(0x80250023), "Selected SDI port number is not valid"},
    {makeStatus(0x80250024), "No slate found"},
    {makeStatus(0x80250025), "No logo found"},
    {makeStatus(0x80250026), "Bad picture format"},
    {makeStatus(0x80250027), "Bad slate format"},
    {makeStatus(0x80250028), "Bad logo format"},
    {makeStatus(0x80250029), "Logo ftp file server unreachable"},
    {makeStatus(0x8025002A), "Slate ftp file server unreachable"},
    {makeStatus(0x8025002B), "Input file not found"},
    {makeStatus(0x8025002C), "Input audio format not supported"},
    {makeStatus(0x8025002D), "Manifest not found"},
    {makeStatus(0x8025002E), "Manifest does not parse"},
    {makeStatus(0x8025002F), "Video not found"},
    {makeStatus(0x80250030), "Audio not found"},
    {makeStatus(0x80250031),
     "Input streams are not in mezzanine format. You shall configure fallback settings manually."},
    {makeStatus(0x80250032), "Input folder unreachable"},
    {makeStatus(0x80250033), "Output folder unreachable"},
    {makeStatus(0x80250040), "Selected framerate is invalid"},
    {makeStatus(0x80250041), "Selected resolution is invalid"},
    {makeStatus(0x80250042), "Selected output format is invalid"},
    {makeStatus(0x80250060), "Video decoder alert: input cannot be decoded."},
    {makeStatus(0x80250080), "Unable to establish a connection to the server"},
    {makeStatus(0x80250081), "The specified push template is invalid"},
    {makeStatus(0x80250082), "The specified push publishing point is invalid"},
    {makeStatus(0x80250083), "The request could not be understood by the server"},
    {makeStatus(0x80250084), "The network sink failed to write data to the network"},
    {makeStatus(0x80250085), "The Windows Media server is denying access (Check Log&Pwd)"},
    {makeStatus(0x80250087), "The port number specified is already in use"},
    {makeStatus(0x80250088), "Only one usage of input address (protocol/network address/port) is permitted."},
    {makeStatus(0x80250089), "The SDI output is already in use"},
    {makeStatus(0x8025008A), "Could not get the NICs list"},
    {makeStatus(0x8025008B), "Could not get the IP address table"},
    {makeStatus(0x8025008C), "Some stream names used for RTMP connection are the same"},
};

constexpr bool isOutOfOrder(const Row& row, const Row& next) { return row.status >= next.status; }
static_assert(std::adjacent_find(std::begin(kErrorTable), std::end(kErrorTable), isOutOfOrder) == std::end(kErrorTable),
              "rows stand in ascending order of the signed status, each once");

}  // namespace

const char* findErrorText(HRESULT status) noexcept {
    const Row* row = std::lower_bound(std::begin(kErrorTable), std::end(kErrorTable), status);
    return row != std::end(kErrorTable) && row->status == status ? row->text : nullptr;
}
