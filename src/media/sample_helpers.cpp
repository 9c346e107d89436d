#include "media/sample_helpers.h"

#include <cstring>

#include "foundation/com_exception.h"

bool HasSampleTime(IMediaSample& sample) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    return SUCCEEDED(sample.GetTime(&start, &stop));
}

REFERENCE_TIME GetSampleStartTime(IMediaSample& sample) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const HRESULT status = sample.GetTime(&start, &stop);
    if (FAILED(status)) throw COMException(status);
    return start;
}

bool IsSampleDiscontinuity(IMediaSample& sample) { return sample.IsDiscontinuity() == S_OK; }

bool GetSampleDataId(IMediaSample3& sample, std::uint64_t& id) {
    std::uint8_t* bytes = nullptr;
    std::int32_t size = 0;
    if (FAILED(sample.GetMetaData(static_cast<std::int32_t>(MediaDataKey::DataId), &bytes, &size))) return false;
    if (size < static_cast<std::int32_t>(sizeof id)) return false;
    std::memcpy(&id, bytes, sizeof id);
    return true;
}

REFERENCE_TIME GetClockTime(IReferenceClock& clock) {
    REFERENCE_TIME time = 0;
    const HRESULT status = clock.GetTime(&time);
    if (FAILED(status)) throw COMException(status);
    return time;
}
