#include "media/oob_media_sample.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

namespace {

/// A larger store is not worth keeping for the next use.
constexpr std::size_t kLargestSpare = 64;

constexpr std::uint32_t kTimeFlags = AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
/// Flags that SetProperties takes as they come; the others follow from the type and the media times of this sample.
constexpr std::uint32_t kOwnFlags = AM_SAMPLE_TYPECHANGED | AM_SAMPLE_MEDIATIMEVALID;

/// The sum, wrapping: times come from outside.
std::int64_t plus(std::int64_t left, std::int64_t right) noexcept {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

/// A record of so many bytes says something about the in-line type.
constexpr std::size_t kBytesWithType = offsetof(AM_SAMPLE2_PROPERTIES, pbBuffer);
/// And of so many about the times.
constexpr std::size_t kBytesWithStart = offsetof(AM_SAMPLE2_PROPERTIES, tStop);
constexpr std::size_t kBytesWithStop = offsetof(AM_SAMPLE2_PROPERTIES, dwStreamId);

}  // namespace

COOBMediaSample::COOBMediaSample(std::uint8_t* buffer, std::int32_t bytes) noexcept
    : buffer_(buffer), actualLength_(bytes), bufferSize_(bytes) {}

COOBMediaSample::~COOBMediaSample() { DeleteMediaType(mediaType_); }

HRESULT COOBMediaSample::QueryInterface(const GUID& id, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id != IMediaSample::iid && id != IMediaSample2::iid && id != IMediaSample3::iid && id != IUnknown::iid) {
        return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IMediaSample3*>(this);
    return S_OK;
}

std::uint32_t COOBMediaSample::AddRef() {
    return static_cast<std::uint32_t>(references_.fetch_add(1, std::memory_order_relaxed) + 1);
}

std::uint32_t COOBMediaSample::Release() {
    const std::int32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return static_cast<std::uint32_t>(left);
}

HRESULT COOBMediaSample::setFlag(std::uint32_t bit, bool on) noexcept {
    sampleFlags_ = on ? sampleFlags_ | bit : sampleFlags_ & ~bit;
    return S_OK;
}

HRESULT COOBMediaSample::GetPointer(std::uint8_t** buffer) {
    if (buffer == nullptr) return E_POINTER;
    *buffer = buffer_;
    return buffer_ != nullptr ? S_OK : E_FAIL;
}

std::int32_t COOBMediaSample::GetSize() { return bufferSize_; }

HRESULT COOBMediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
    if (start == nullptr || stop == nullptr) return E_POINTER;
    if ((sampleFlags_ & AM_SAMPLE_TIMEVALID) == 0) return VFW_E_SAMPLE_TIME_NOT_SET;
    *start = start_;
    if ((sampleFlags_ & AM_SAMPLE_STOPVALID) != 0) {
        *stop = stop_;
        return S_OK;
    }
    *stop = plus(start_, 1);
    return VFW_S_NO_STOP_TIME;
}

HRESULT COOBMediaSample::SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* stop) {
    setFlag(kTimeFlags, false);
    if (start == nullptr) return S_OK;
    start_ = *start;
    setFlag(AM_SAMPLE_TIMEVALID, true);
    if (stop == nullptr) return S_OK;
    stop_ = *stop;
    return setFlag(AM_SAMPLE_STOPVALID, true);
}

HRESULT COOBMediaSample::IsSyncPoint() { return flag(AM_SAMPLE_SPLICEPOINT); }

HRESULT COOBMediaSample::SetSyncPoint(std::int32_t isSyncPoint) {
    return setFlag(AM_SAMPLE_SPLICEPOINT, isSyncPoint != 0);
}

HRESULT COOBMediaSample::IsPreroll() { return flag(AM_SAMPLE_PREROLL); }

HRESULT COOBMediaSample::SetPreroll(std::int32_t isPreroll) { return setFlag(AM_SAMPLE_PREROLL, isPreroll != 0); }

HRESULT COOBMediaSample::IsDiscontinuity() { return flag(AM_SAMPLE_DATADISCONTINUITY); }

HRESULT COOBMediaSample::SetDiscontinuity(std::int32_t isDiscontinuity) {
    return setFlag(AM_SAMPLE_DATADISCONTINUITY, isDiscontinuity != 0);
}

std::int32_t COOBMediaSample::GetActualDataLength() { return actualLength_; }

HRESULT COOBMediaSample::SetActualDataLength(std::int32_t bytes) {
    if (bytes > bufferSize_) return VFW_E_BUFFER_OVERFLOW;
    if (bytes < 0) return E_INVALIDARG;
    actualLength_ = bytes;
    return S_OK;
}

HRESULT COOBMediaSample::GetMediaType(AM_MEDIA_TYPE** type) {
    if (type == nullptr) return E_POINTER;
    *type = nullptr;
    if (mediaType_ == nullptr) return S_FALSE;
    *type = CreateMediaType(*mediaType_);
    return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT COOBMediaSample::SetMediaType(AM_MEDIA_TYPE* type) {
    // Copied first: the type may be this sample's own.
    AM_MEDIA_TYPE* const copy = type != nullptr ? CreateMediaType(*type) : nullptr;
    dropMediaType();
    if (type == nullptr) return S_OK;
    if (copy == nullptr) return E_OUTOFMEMORY;
    mediaType_ = copy;
    return setFlag(AM_SAMPLE_TYPECHANGED, true);
}

void COOBMediaSample::dropMediaType() noexcept {
    DeleteMediaType(std::exchange(mediaType_, nullptr));
    setFlag(AM_SAMPLE_TYPECHANGED, false);
}

HRESULT COOBMediaSample::GetMediaTime(std::int64_t* start, std::int64_t* end) {
    if (start == nullptr || end == nullptr) return E_POINTER;
    if ((sampleFlags_ & AM_SAMPLE_MEDIATIMEVALID) == 0) return VFW_E_MEDIA_TIME_NOT_SET;
    *start = mediaStart_;
    *end = plus(mediaStart_, mediaEnd_);
    return S_OK;
}

HRESULT COOBMediaSample::SetMediaTime(const std::int64_t* start, const std::int64_t* end) {
    setFlag(AM_SAMPLE_MEDIATIMEVALID, false);
    if (start == nullptr) return S_OK;
    if (end == nullptr) return E_POINTER;
    mediaStart_ = *start;
    mediaEnd_ = static_cast<std::int32_t>(static_cast<std::uint64_t>(*end) - static_cast<std::uint64_t>(*start));
    return setFlag(AM_SAMPLE_MEDIATIMEVALID, true);
}

HRESULT COOBMediaSample::GetProperties(std::uint32_t bytes, std::uint8_t* properties) {
    if (bytes == 0) return S_OK;
    if (properties == nullptr) return E_POINTER;
    AM_SAMPLE2_PROPERTIES record;
    record.cbData = std::min(bytes, static_cast<std::uint32_t>(sizeof record));
    record.dwTypeSpecificFlags = typeSpecificFlags_;
    record.dwSampleFlags = sampleFlags_;
    record.lActual = actualLength_;
    record.tStart = start_;
    record.tStop = stop_;
    record.dwStreamId = streamId_;
    record.pMediaType = mediaType_;
    record.pbBuffer = buffer_;
    record.cbBuffer = bufferSize_;
    std::memcpy(properties, &record, record.cbData);
    return S_OK;
}

HRESULT COOBMediaSample::SetProperties(std::uint32_t bytes, const std::uint8_t* properties) {
    if (bytes == 0) return S_OK;
    if (properties == nullptr) return E_POINTER;
    AM_SAMPLE2_PROPERTIES record;
    GetProperties(sizeof record, reinterpret_cast<std::uint8_t*>(&record));  // for the fields that were not given
    const std::uint32_t oldFlags = record.dwSampleFlags;
    bytes = std::min(bytes, static_cast<std::uint32_t>(sizeof record));
    std::memcpy(&record, properties, bytes);

    // Everything is looked at before anything changes. The memory itself is fixed; null and 0 leave it open.
    if ((record.dwSampleFlags & kTimeFlags) == AM_SAMPLE_STOPVALID) return E_INVALIDARG;
    // Times that a sample had in an earlier round are not made valid by a record that carries none.
    const std::uint32_t newFlags = record.dwSampleFlags & ~oldFlags;
    if ((newFlags & AM_SAMPLE_TIMEVALID) != 0 && bytes < kBytesWithStart) return E_INVALIDARG;
    if ((newFlags & AM_SAMPLE_STOPVALID) != 0 && bytes < kBytesWithStop) return E_INVALIDARG;
    if (record.lActual > bufferSize_) return VFW_E_BUFFER_OVERFLOW;
    if (record.lActual < 0) return E_INVALIDARG;
    if (record.pbBuffer != nullptr && record.pbBuffer != buffer_) return E_INVALIDARG;
    if (record.cbBuffer != 0 && record.cbBuffer != bufferSize_) return E_INVALIDARG;
    if (bytes >= kBytesWithType) {
        const bool changed = (record.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0;
        const HRESULT status = SetMediaType(changed ? record.pMediaType : nullptr);
        if (FAILED(status)) return status;
    }
    sampleFlags_ = (record.dwSampleFlags & ~kOwnFlags) | (sampleFlags_ & kOwnFlags);
    typeSpecificFlags_ = record.dwTypeSpecificFlags;
    actualLength_ = record.lActual;
    start_ = record.tStart;
    stop_ = record.tStop;
    streamId_ = record.dwStreamId;
    return S_OK;
}

HRESULT COOBMediaSample::GetMetaData(std::int32_t key, std::uint8_t** bytes, std::int32_t* size) {
    if (bytes == nullptr || size == nullptr) return E_POINTER;
    const auto found = sideData_.find(key);
    if (found == sideData_.end()) return E_FAIL;
    *bytes = found->second.data();
    *size = static_cast<std::int32_t>(found->second.size());
    return S_OK;
}

void COOBMediaSample::SetMetaData(std::int32_t key, const std::uint8_t* bytes, std::int32_t size) try {
    auto found = sideData_.find(key);
    if (found == sideData_.end()) {
        if (spareNode_.empty()) {
            found = sideData_.try_emplace(key).first;
        } else {
            spareNode_.key() = key;
            found = sideData_.insert(std::move(spareNode_)).position;
        }
    }
    const auto length = static_cast<std::size_t>(bytes != nullptr ? std::max(size, 0) : 0);
    if (found->second.data() == bytes) return found->second.resize(length);  // its own bytes, as GetMetaData gave them
    found->second.assign(bytes, bytes + length);
} catch (const std::bad_alloc&) {
    sideData_.erase(key);  // a key that is not set is a normal case, one with other bytes is not
}

void COOBMediaSample::RemoveMetaData(std::int32_t key) { sideData_.erase(key); }

void COOBMediaSample::clearForReuse() noexcept {
    dropMediaType();
    sampleFlags_ = 0;
    typeSpecificFlags_ = 0;
    streamId_ = 0;
    if (sideData_.empty()) return;
    if (sideData_.begin()->second.capacity() <= kLargestSpare) {
        spareNode_ = sideData_.extract(sideData_.begin());
        spareNode_.mapped().clear();
    }
    sideData_.clear();
}
