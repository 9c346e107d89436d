#pragma once
// Typed access to one sample, for filters that read and write its side data.

#include <atomic>
#include <cstdint>

#include "media/host/interfaces.h"
#include "media/media_records.h"

/// One sample's data, times, flags and records as typed values.
///
/// Times are in 100 ns units; statuses, and what the out-parameters hold, are those of the sample's own operations. A
/// getter that gives a bool gives false, and leaves its out-parameter alone, when the record is not set or is shorter
/// than its type. The operations on records throw std::exception, with a text that names the record, when the sample
/// does not answer IMediaSample3.
/// Threads: the count is interlocked; everything else belongs to the sample's one user. QueryInterface gives
/// E_NOINTERFACE for every id: who has the object knows what it is.
struct IMediaData : IUnknown {
protected:
    virtual ~IMediaData() = default;

public:
    virtual HRESULT SetActualDataLength(std::int32_t bytes) = 0;
    virtual std::int32_t GetActualDataLength() = 0;
    virtual HRESULT GetPointer(std::uint8_t** buffer) = 0;
    virtual std::int32_t GetSize() = 0;
    virtual HRESULT SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* stop) = 0;
    virtual HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) = 0;
    virtual HRESULT SetMediaTime(const std::int64_t* start, const std::int64_t* end) = 0;
    virtual HRESULT GetMediaTime(std::int64_t* start, std::int64_t* end) = 0;
    virtual HRESULT SetSyncPoint(bool on) = 0;
    virtual bool IsSyncPoint() = 0;
    virtual HRESULT SetDiscontinuity(bool on) = 0;
    virtual bool IsDiscontinuity() = 0;
    virtual HRESULT SetPreroll(bool on) = 0;
    virtual bool IsPreroll() = 0;
    virtual void SetCuePoint(const CuePoint& cue) = 0;
    /// All zero when not set.
    virtual CuePoint GetCuePoint() = 0;
    virtual void SetSampleDate(std::int64_t date) = 0;
    /// 0 when not set.
    virtual std::int64_t GetSampleDate() = 0;
    virtual void SetDataId(std::uint64_t id) = 0;
    virtual bool GetDataId(std::uint64_t& id) = 0;
    virtual void SetDolbyMetadata(const DolbyMetadata& metadata) = 0;
    virtual bool GetDolbyMetadata(DolbyMetadata& metadata) = 0;
    virtual void SetParentalRating(const ParentalRating& rating) = 0;
    virtual bool GetParentalRating(ParentalRating& rating) = 0;
    virtual void SetRecordingEvent(std::uint16_t event) = 0;
    virtual bool GetRecordingEvent(std::uint16_t& event) = 0;
};

/// As IMediaData, with the sample's properties as one record (see IMediaSample2).
struct IMediaData2 : IMediaData {
    virtual HRESULT GetProperties(std::uint32_t bytes, std::uint8_t* properties) = 0;
    virtual HRESULT SetProperties(std::uint32_t bytes, const std::uint8_t* properties) = 0;

protected:
    ~IMediaData2() override = default;
};

/// What both wrappers have in common. Starts with a count of 1, which is the maker's, and destroys itself at its last
/// Release; references the sample for its lifetime.
template <class Interface, class Sample>
class MediaDataOver : public Interface {
public:
    HRESULT QueryInterface(const GUID& id, void** object) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    HRESULT SetActualDataLength(std::int32_t bytes) override;
    std::int32_t GetActualDataLength() override;
    HRESULT GetPointer(std::uint8_t** buffer) override;
    std::int32_t GetSize() override;
    HRESULT SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* stop) override;
    HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
    HRESULT SetMediaTime(const std::int64_t* start, const std::int64_t* end) override;
    HRESULT GetMediaTime(std::int64_t* start, std::int64_t* end) override;
    HRESULT SetSyncPoint(bool on) override;
    bool IsSyncPoint() override;
    HRESULT SetDiscontinuity(bool on) override;
    bool IsDiscontinuity() override;
    HRESULT SetPreroll(bool on) override;
    bool IsPreroll() override;
    void SetCuePoint(const CuePoint& cue) override;
    CuePoint GetCuePoint() override;
    void SetSampleDate(std::int64_t date) override;
    std::int64_t GetSampleDate() override;
    void SetDataId(std::uint64_t id) override;
    bool GetDataId(std::uint64_t& id) override;
    void SetDolbyMetadata(const DolbyMetadata& metadata) override;
    bool GetDolbyMetadata(DolbyMetadata& metadata) override;
    void SetParentalRating(const ParentalRating& rating) override;
    bool GetParentalRating(ParentalRating& rating) override;
    void SetRecordingEvent(std::uint16_t event) override;
    bool GetRecordingEvent(std::uint16_t& event) override;

    /// The sample itself, without a reference for the caller.
    Sample* GetMediaSample() const noexcept { return sample_.get(); }

protected:
    explicit MediaDataOver(Sample& sample) : sample_(&sample) {}
    ~MediaDataOver() override = default;

private:
    template <class Record>
    void setRecord(MediaDataKey key, const Record& record);
    template <class Record>
    bool getRecord(MediaDataKey key, Record& record);

    const mcgate::platform::ComPtr<Sample> sample_;
    std::atomic<std::uint32_t> references_{1};
};

/// IMediaData over any sample.
class MediaData final : public MediaDataOver<IMediaData, IMediaSample> {
public:
    explicit MediaData(IMediaSample& sample) : MediaDataOver(sample) {}

private:
    ~MediaData() override = default;
};

/// IMediaData2 over a sample that answers IMediaSample2.
class MediaData2 final : public MediaDataOver<IMediaData2, IMediaSample2> {
public:
    explicit MediaData2(IMediaSample2& sample) : MediaDataOver(sample) {}
    HRESULT GetProperties(std::uint32_t bytes, std::uint8_t* properties) override;
    HRESULT SetProperties(std::uint32_t bytes, const std::uint8_t* properties) override;

private:
    ~MediaData2() override = default;
};
