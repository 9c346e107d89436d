#include "media/external_meta_data_media_sample.h"

#include <new>

using mcgate::platform::ComPtr;

namespace {

std::uint8_t* pointerOf(IMediaSample& sample) {
    std::uint8_t* buffer = nullptr;
    return SUCCEEDED(sample.GetPointer(&buffer)) ? buffer : nullptr;
}

}  // namespace

CExternalMetaDataMediaSample::CExternalMetaDataMediaSample(IMediaSample& wrapped)
    : COOBMediaSample(pointerOf(wrapped), wrapped.GetSize()), wrapped_(&wrapped) {
    copyTimes();
    copyMediaType();
    copyFlags();
    copyRecords();
}

void CExternalMetaDataMediaSample::copyTimes() {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const HRESULT timed = wrapped_->GetTime(&start, &stop);
    if (SUCCEEDED(timed)) COOBMediaSample::SetTime(&start, timed == VFW_S_NO_STOP_TIME ? nullptr : &stop);
    std::int64_t mediaStart = 0;
    std::int64_t mediaEnd = 0;
    if (SUCCEEDED(wrapped_->GetMediaTime(&mediaStart, &mediaEnd))) {
        COOBMediaSample::SetMediaTime(&mediaStart, &mediaEnd);
    }
}

void CExternalMetaDataMediaSample::copyMediaType() {
    AM_MEDIA_TYPE* type = nullptr;
    const HRESULT status = wrapped_->GetMediaType(&type);
    if (status == S_FALSE) return;
    if (FAILED(status)) throw std::bad_alloc();
    mediaType_ = type;  // GetMediaType gave a copy
    sampleFlags_ |= AM_SAMPLE_TYPECHANGED;
}

void CExternalMetaDataMediaSample::copyFlags() {
    if (wrapped_->IsSyncPoint() == S_OK) sampleFlags_ |= AM_SAMPLE_SPLICEPOINT;
    if (wrapped_->IsPreroll() == S_OK) sampleFlags_ |= AM_SAMPLE_PREROLL;
    if (wrapped_->IsDiscontinuity() == S_OK) sampleFlags_ |= AM_SAMPLE_DATADISCONTINUITY;
    const auto second = wrapped_.query<IMediaSample2>();
    AM_SAMPLE2_PROPERTIES record;
    if (!second || FAILED(second->GetProperties(sizeof record, reinterpret_cast<std::uint8_t*>(&record)))) return;
    typeSpecificFlags_ = record.dwTypeSpecificFlags;
    streamId_ = record.dwStreamId;
}

void CExternalMetaDataMediaSample::copyRecords() {
    const auto third = wrapped_.query<IMediaSample3>();
    if (!third) return;
    for (const auto key : {MediaDataKey::CuePoint, MediaDataKey::SampleDate, MediaDataKey::DataId,
                           MediaDataKey::ParentalRating, MediaDataKey::RecordingEvent}) {
        std::uint8_t* bytes = nullptr;
        std::int32_t size = 0;
        if (FAILED(third->GetMetaData(static_cast<std::int32_t>(key), &bytes, &size))) continue;
        COOBMediaSample::SetMetaData(static_cast<std::int32_t>(key), bytes, size);
    }
}

HRESULT CExternalMetaDataMediaSample::QueryInterface(const GUID& id, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (id == IMediaSample2::iid || id == IMediaSample3::iid) {
        ComPtr<IUnknown> found;
        const HRESULT status = wrapped_->QueryInterface(id, found.putVoid());
        if (FAILED(status)) return status;
    }
    return COOBMediaSample::QueryInterface(id, object);
}

HRESULT CExternalMetaDataMediaSample::GetPointer(std::uint8_t** buffer) { return wrapped_->GetPointer(buffer); }

std::int32_t CExternalMetaDataMediaSample::GetSize() { return wrapped_->GetSize(); }

std::int32_t CExternalMetaDataMediaSample::GetActualDataLength() { return wrapped_->GetActualDataLength(); }

HRESULT CExternalMetaDataMediaSample::SetActualDataLength(std::int32_t bytes) {
    return wrapped_->SetActualDataLength(bytes);
}

HRESULT CExternalMetaDataMediaSample::GetProperties(std::uint32_t bytes, std::uint8_t* properties) {
    actualLength_ = wrapped_->GetActualDataLength();
    return COOBMediaSample::GetProperties(bytes, properties);
}

HRESULT CExternalMetaDataMediaSample::SetProperties(std::uint32_t bytes, const std::uint8_t* properties) {
    const HRESULT status = COOBMediaSample::SetProperties(bytes, properties);
    // With fewer bytes than reach it the length stays what GetProperties, which the base asks, found.
    return SUCCEEDED(status) && bytes != 0 ? wrapped_->SetActualDataLength(actualLength_) : status;
}
