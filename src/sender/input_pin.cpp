#include "sender/input_pin.h"

#include <algorithm>
#include <limits>
#include <mutex>

#include "foundation/status.h"
#include "interfaces/class_ids.h"
#include "media/nominal_bit_rate.h"
#include "media/sample_helpers.h"

namespace {

struct StreamType {
    const GUID& major;
    const GUID& sub;
    const GUID* format;  // null: any
};

constexpr StreamType kTypes[] = {
    {MEDIATYPE_PrivateStream, MEDIASUBTYPE_PrivateStream, nullptr},
    {MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT, &FORMAT_MPEGStreams},
    {MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped, nullptr},
};

constexpr std::int32_t kSecondsOfBuffers = 30;
constexpr std::int32_t kBufferSize = 256;
constexpr std::int32_t kAlignment = 32;

bool matches(const StreamType& known, const AM_MEDIA_TYPE& type) {
    return type.majortype == known.major && type.subtype == known.sub &&
           (known.format == nullptr || type.formattype == *known.format);
}

}  // namespace

CInputPin::CInputPin(CBaseFilter* filter, CCritSec* filterLock, CCritSec& receiveLock, SendState& state,
                     quorvel::log::i_logger::v0::ILogger& log)
    : CBaseInputPin(filter, filterLock, u"Input"), receiveLock_(receiveLock), state_(state), log_(log) {}

HRESULT CInputPin::CheckMediaType(const CMediaType* type) {
    if (type == nullptr) return E_POINTER;
    const auto accepts = [type](const StreamType& known) { return matches(known, *type); };
    return std::any_of(std::begin(kTypes), std::end(kTypes), accepts) ? S_OK : S_FALSE;
}

HRESULT CInputPin::GetMediaType(int position, CMediaType* type) {
    if (type == nullptr) return E_POINTER;
    if (position < 0) return E_INVALIDARG;
    if (position >= static_cast<int>(std::size(kTypes))) return VFW_S_NO_MORE_ITEMS;
    *type = CMediaType(kTypes[position].major, kTypes[position].sub);
    return S_OK;
}

HRESULT CInputPin::SetMediaType(const CMediaType* type) {
    if (type == nullptr) return E_POINTER;
    state_.streamIsTimeStamped =
        type->majortype == MEDIATYPE_PrivateTimeStamped && type->subtype == MEDIASUBTYPE_PrivateTimeStamped;
    return CBaseInputPin::SetMediaType(type);
}

HRESULT CInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) {
    if (properties == nullptr) return E_POINTER;
    const std::int64_t bytesPerSecond = GetNominalBitRate(mediaType()) / 8;
    const std::int64_t buffers = kSecondsOfBuffers * bytesPerSecond / kBufferSize;
    // A rate beyond 31 bits comes as a negative one and counts as unknown.
    properties->cBuffers =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(buffers, 0, std::numeric_limits<std::int32_t>::max()));
    properties->cbBuffer = kBufferSize;
    properties->cbAlign = kAlignment;
    properties->cbPrefix = 0;
    return S_OK;
}

HRESULT CInputPin::Receive(IMediaSample* sample) {
    const std::lock_guard hold(receiveLock_);
    try {
        return receiveLocked(sample);
    } catch (...) {
        return mcgate::foundation::statusOfCurrentException();
    }
}

HRESULT CInputPin::receiveLocked(IMediaSample* sample) {
    const HRESULT welcome = CBaseInputPin::Receive(sample);
    if (FAILED(welcome)) return welcome;
    const bool full = probeFindsNoBuffer();
    if (full != dropping) {
        log_.Log(1, "%s", full ? "input queue full, started dropping samples" : "stopped dropping samples");
        dropping = full;
    }
    if (full) return S_OK;
    if (IsSampleDiscontinuity(*sample)) {
        log_.Log(2, "Flush start");
        state_.flushRequested.exchange(1);  // before the sample is queued, so that the loop sees the flush first
    }
    reportCrossing(state_.inputCrossingCallback, *sample);
    state_.queue.push(mcgate::platform::ComPtr<IMediaSample>(sample));
    return S_OK;
}

// Every queued sample holds a buffer of the agreed allocator, so one without a free buffer stands for a full queue.
bool CInputPin::probeFindsNoBuffer() {
    if (allocator() == nullptr) return false;
    mcgate::platform::ComPtr<IMediaSample> probe;
    return allocator()->GetBuffer(probe.put(), nullptr, nullptr, AM_GBF_NOWAIT) == VFW_E_TIMEOUT;
}

HRESULT CInputPin::EndOfStream() {
    if (!endOfStreamSent.exchange(true)) filter_->NotifyEvent(EC_COMPLETE, 0, 0);
    return S_OK;
}
