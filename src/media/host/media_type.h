#pragma once
// Media types: what a connection carries.

#include <cstdint>

#include "platform/guid.h"
#include "platform/unknown.h"

/// Time in a graph: 100 ns units, 10,000 to the millisecond.
using REFERENCE_TIME = std::int64_t;
inline constexpr REFERENCE_TIME kTicksPerMillisecond = 10'000;
inline constexpr REFERENCE_TIME kTicksPerSecond = 10'000'000;

/// The published record, passed by pointer across interfaces; the format block is owned by whoever owns the record and
/// allocated with CoTaskMemAlloc.
struct AM_MEDIA_TYPE {
    GUID majortype;
    GUID subtype;
    std::int32_t bFixedSizeSamples = 1;
    std::int32_t bTemporalCompression = 0;
    std::uint32_t lSampleSize = 1;
    GUID formattype;
    IUnknown* pUnk = nullptr;
    std::uint32_t cbFormat = 0;
    std::uint8_t* pbFormat = nullptr;
};

inline constexpr GUID MEDIATYPE_Stream = mcgate::platform::guid("{E436EB83-524F-11CE-9F53-0020AF0BA770}");
inline constexpr GUID MEDIASUBTYPE_MPEG2_TRANSPORT = mcgate::platform::guid("{E06D8023-DB46-11CF-B4D1-00805F6CBBEA}");
inline constexpr GUID FORMAT_MPEGStreams = mcgate::platform::guid("{05589F83-C356-11CE-BF01-00AA0055595A}");
inline constexpr GUID FORMAT_VideoInfo = mcgate::platform::guid("{05589F80-C356-11CE-BF01-00AA0055595A}");
inline constexpr GUID FORMAT_VideoInfo2 = mcgate::platform::guid("{F72A76A0-EB0A-11D0-ACE4-0000C0CC16BA}");
inline constexpr GUID FORMAT_MPEG2Video = mcgate::platform::guid("{E06D80E3-DB46-11CF-B4D1-00805F6CBBEA}");
inline constexpr GUID FORMAT_WaveFormatEx = mcgate::platform::guid("{05589F81-C356-11CE-BF01-00AA0055595A}");
/// A private video format whose block starts like that of FORMAT_VideoInfo2.
inline constexpr GUID FORMAT_PrivateVideo = mcgate::platform::guid("{2CD157BF-BBA1-46F3-A047-2F6CED96A09D}");

/// Format block of FORMAT_MPEGStreams.
struct AM_MPEGSYSTEMTYPE {
    std::uint32_t dwBitRate = 0;  ///< bits per second, 0 when unknown
    std::uint32_t cbReserved = 0;
};

/// A media type that owns its format block and its pUnk reference. Copying throws std::bad_alloc.
class CMediaType : public AM_MEDIA_TYPE {
public:
    CMediaType() noexcept = default;
    CMediaType(const GUID& major, const GUID& sub) noexcept {
        majortype = major;
        subtype = sub;
    }
    explicit CMediaType(const AM_MEDIA_TYPE& other);
    CMediaType(const CMediaType& other);
    CMediaType(CMediaType&& other) noexcept;
    CMediaType& operator=(CMediaType other) noexcept;
    ~CMediaType();

    /// Back to the values of a newly made one; frees the block.
    void InitMediaType() noexcept;
    /// Copies a format block of `bytes` bytes; sets the format type.
    void SetFormat(const GUID& type, const void* block, std::uint32_t bytes);
    /// Same major type, subtype, format type and format block.
    bool equals(const AM_MEDIA_TYPE& other) const noexcept;
    /// Agrees with `partial` in all that it specifies; what is GUID_NULL there is left open.
    bool MatchesPartial(const AM_MEDIA_TYPE& partial) const noexcept;
    /// Major type and format type are not GUID_NULL: nothing is left to negotiate.
    bool IsFullySpecified() const noexcept { return majortype != GUID_NULL && formattype != GUID_NULL; }
};

/// Fills `target`, whose old content is not freed, with a copy; E_OUTOFMEMORY leaves it without block and pUnk.
HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) noexcept;
/// Frees the block and the reference that the record owns, not the record.
void FreeMediaType(AM_MEDIA_TYPE& type) noexcept;
/// Allocates a copy with CoTaskMemAlloc, block included; null when memory runs out. Freed with DeleteMediaType.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE& source) noexcept;
void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept;
