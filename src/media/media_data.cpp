#include "media/media_data.h"

#include <cstring>
#include <stdexcept>

using mcgate::platform::ComPtr;

namespace {

const char* refusalOf(MediaDataKey key) {
    switch (key) {
        case MediaDataKey::CuePoint:
            return "Cue Point management needs IMediaSample3 interface";
        case MediaDataKey::SampleDate:
            return "Sample Date management needs IMediaSample3 interface";
        case MediaDataKey::DataId:
            return "DataId management needs IMediaSample3 interface";
        case MediaDataKey::DolbyMetadata:
            return "DolbyMetadata management needs IMediaSample3 interface";
        case MediaDataKey::ParentalRating:
            return "\"Parental Rating\" management needs IMediaSample3 interface";
        case MediaDataKey::RecordingEvent:
            break;
    }
    return "recording event management needs IMediaSample3 interface";
}

template <class Sample>
ComPtr<IMediaSample3> demandThird(const ComPtr<Sample>& sample, MediaDataKey key) {
    auto third = sample.template query<IMediaSample3>();
    if (!third) throw std::runtime_error(refusalOf(key));
    return third;
}

}  // namespace

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::QueryInterface(const GUID&, void** object) {
    if (object != nullptr) *object = nullptr;
    return E_NOINTERFACE;
}

template <class Interface, class Sample>
std::uint32_t MediaDataOver<Interface, Sample>::AddRef() {
    return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

template <class Interface, class Sample>
std::uint32_t MediaDataOver<Interface, Sample>::Release() {
    const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::SetActualDataLength(std::int32_t bytes) {
    return sample_->SetActualDataLength(bytes);
}

template <class Interface, class Sample>
std::int32_t MediaDataOver<Interface, Sample>::GetActualDataLength() {
    return sample_->GetActualDataLength();
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::GetPointer(std::uint8_t** buffer) {
    return sample_->GetPointer(buffer);
}

template <class Interface, class Sample>
std::int32_t MediaDataOver<Interface, Sample>::GetSize() {
    return sample_->GetSize();
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* stop) {
    return sample_->SetTime(start, stop);
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
    return sample_->GetTime(start, stop);
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::SetMediaTime(const std::int64_t* start, const std::int64_t* end) {
    return sample_->SetMediaTime(start, end);
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::GetMediaTime(std::int64_t* start, std::int64_t* end) {
    return sample_->GetMediaTime(start, end);
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::SetSyncPoint(bool on) {
    return sample_->SetSyncPoint(on ? 1 : 0);
}

template <class Interface, class Sample>
bool MediaDataOver<Interface, Sample>::IsSyncPoint() {
    return sample_->IsSyncPoint() == S_OK;
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::SetDiscontinuity(bool on) {
    return sample_->SetDiscontinuity(on ? 1 : 0);
}

template <class Interface, class Sample>
bool MediaDataOver<Interface, Sample>::IsDiscontinuity() {
    return sample_->IsDiscontinuity() == S_OK;
}

template <class Interface, class Sample>
HRESULT MediaDataOver<Interface, Sample>::SetPreroll(bool on) {
    return sample_->SetPreroll(on ? 1 : 0);
}

template <class Interface, class Sample>
bool MediaDataOver<Interface, Sample>::IsPreroll() {
    return sample_->IsPreroll() == S_OK;
}

template <class Interface, class Sample>
void MediaDataOver<Interface, Sample>::SetCuePoint(const CuePoint& cue) {
    setRecord(MediaDataKey::CuePoint, cue);
}

template <class Interface, class Sample>
CuePoint MediaDataOver<Interface, Sample>::GetCuePoint() {
    CuePoint cue;
    getRecord(MediaDataKey::CuePoint, cue);
    return cue;
}

template <class Interface, class Sample>
void MediaDataOver<Interface, Sample>::SetSampleDate(std::int64_t date) {
    setRecord(MediaDataKey::SampleDate, date);
}

template <class Interface, class Sample>
std::int64_t MediaDataOver<Interface, Sample>::GetSampleDate() {
    std::int64_t date = 0;
    getRecord(MediaDataKey::SampleDate, date);
    return date;
}

template <class Interface, class Sample>
void MediaDataOver<Interface, Sample>::SetDataId(std::uint64_t id) {
    setRecord(MediaDataKey::DataId, id);
}

template <class Interface, class Sample>
bool MediaDataOver<Interface, Sample>::GetDataId(std::uint64_t& id) {
    return getRecord(MediaDataKey::DataId, id);
}

template <class Interface, class Sample>
void MediaDataOver<Interface, Sample>::SetDolbyMetadata(const DolbyMetadata& metadata) {
    setRecord(MediaDataKey::DolbyMetadata, metadata);
}

template <class Interface, class Sample>
bool MediaDataOver<Interface, Sample>::GetDolbyMetadata(DolbyMetadata& metadata) {
    return getRecord(MediaDataKey::DolbyMetadata, metadata);
}

template <class Interface, class Sample>
void MediaDataOver<Interface, Sample>::SetParentalRating(const ParentalRating& rating) {
    setRecord(MediaDataKey::ParentalRating, rating);
}

template <class Interface, class Sample>
bool MediaDataOver<Interface, Sample>::GetParentalRating(ParentalRating& rating) {
    return getRecord(MediaDataKey::ParentalRating, rating);
}

template <class Interface, class Sample>
void MediaDataOver<Interface, Sample>::SetRecordingEvent(std::uint16_t event) {
    setRecord(MediaDataKey::RecordingEvent, event);
}

template <class Interface, class Sample>
bool MediaDataOver<Interface, Sample>::GetRecordingEvent(std::uint16_t& event) {
    return getRecord(MediaDataKey::RecordingEvent, event);
}

template <class Interface, class Sample>
template <class Record>
void MediaDataOver<Interface, Sample>::setRecord(MediaDataKey key, const Record& record) {
    demandThird(sample_, key)
        ->SetMetaData(static_cast<std::int32_t>(key), reinterpret_cast<const std::uint8_t*>(&record), sizeof record);
}

template <class Interface, class Sample>
template <class Record>
bool MediaDataOver<Interface, Sample>::getRecord(MediaDataKey key, Record& record) {
    std::uint8_t* bytes = nullptr;
    std::int32_t size = 0;
    const auto third = demandThird(sample_, key);
    if (FAILED(third->GetMetaData(static_cast<std::int32_t>(key), &bytes, &size))) return false;
    if (size < static_cast<std::int32_t>(sizeof record)) return false;
    std::memcpy(&record, bytes, sizeof record);
    return true;
}

template class MediaDataOver<IMediaData, IMediaSample>;
template class MediaDataOver<IMediaData2, IMediaSample2>;

HRESULT MediaData2::GetProperties(std::uint32_t bytes, std::uint8_t* properties) {
    return GetMediaSample()->GetProperties(bytes, properties);
}

HRESULT MediaData2::SetProperties(std::uint32_t bytes, const std::uint8_t* properties) {
    return GetMediaSample()->SetProperties(bytes, properties);
}
