#pragma once

#include <cstdint>

#include "media/host/media_type.h"

namespace mcgate::host {

/// The type of a pin that gives an MPEG-2 transport stream; `bitRate` in bits per second, 0: unknown.
inline CMediaType transportStreamType(std::uint32_t bitRate) {
    CMediaType type(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
    const AM_MPEGSYSTEMTYPE block{bitRate, 0};
    type.SetFormat(FORMAT_MPEGStreams, &block, sizeof block);
    return type;
}

/// The answer of a pin that takes a transport stream alone, whatever its format: S_OK or S_FALSE.
inline HRESULT checkTransportStream(const AM_MEDIA_TYPE& type) {
    return type.majortype == MEDIATYPE_Stream && type.subtype == MEDIASUBTYPE_MPEG2_TRANSPORT ? S_OK : S_FALSE;
}

}  // namespace mcgate::host
