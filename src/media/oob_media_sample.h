#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <vector>

#include "media/host/interfaces.h"

/// A sample over memory that it does not own, with no allocator: data, times, flags, in-line type, and a keyed store of
/// side data. Destroys itself at its last Release; starts with a count of 0. Threads: the count is interlocked;
/// everything else has one user at a time.
class COOBMediaSample : public IMediaSample3 {
public:
    /// Actual length and buffer size both start at `bytes`. A null `buffer` makes GetPointer fail.
    COOBMediaSample(std::uint8_t* buffer, std::int32_t bytes) noexcept;

    HRESULT QueryInterface(const GUID& id, void** object) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    HRESULT GetPointer(std::uint8_t** buffer) override;
    std::int32_t GetSize() override;
    HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
    HRESULT SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* stop) override;
    HRESULT IsSyncPoint() override;
    HRESULT SetSyncPoint(std::int32_t isSyncPoint) override;
    HRESULT IsPreroll() override;
    HRESULT SetPreroll(std::int32_t isPreroll) override;
    std::int32_t GetActualDataLength() override;
    HRESULT SetActualDataLength(std::int32_t bytes) override;
    HRESULT GetMediaType(AM_MEDIA_TYPE** type) override;
    HRESULT SetMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT IsDiscontinuity() override;
    HRESULT SetDiscontinuity(std::int32_t isDiscontinuity) override;
    HRESULT GetMediaTime(std::int64_t* start, std::int64_t* end) override;
    HRESULT SetMediaTime(const std::int64_t* start, const std::int64_t* end) override;
    HRESULT GetProperties(std::uint32_t bytes, std::uint8_t* properties) override;
    HRESULT SetProperties(std::uint32_t bytes, const std::uint8_t* properties) override;
    HRESULT GetMetaData(std::int32_t key, std::uint8_t** bytes, std::int32_t* size) override;
    void SetMetaData(std::int32_t key, const std::uint8_t* bytes, std::int32_t size) override;
    void RemoveMetaData(std::int32_t key) override;
    virtual ~COOBMediaSample();

protected:
    /// Back to a free sample: no in-line type, no flags, no stream id, no side data. The times keep their bits.
    void clearForReuse() noexcept;

    std::uint32_t sampleFlags_ = 0;
    std::uint8_t* buffer_;
    std::int32_t actualLength_;
    std::int32_t bufferSize_;
    std::uint32_t typeSpecificFlags_ = 0;
    REFERENCE_TIME start_ = 0;
    REFERENCE_TIME stop_ = 0;
    std::int64_t mediaStart_ = 0;
    std::int32_t mediaEnd_ = 0;  ///< difference from mediaStart_
    AM_MEDIA_TYPE* mediaType_ = nullptr;
    std::uint32_t streamId_ = 0;
    std::map<std::int32_t, std::vector<std::uint8_t>> sideData_;
    /// A node kept from the last use, empty of data: an id set on each round then costs no allocation.
    std::map<std::int32_t, std::vector<std::uint8_t>>::node_type spareNode_;
    std::atomic<std::int32_t> references_{0};

private:
    void dropMediaType() noexcept;
    HRESULT flag(std::uint32_t bit) const noexcept { return (sampleFlags_ & bit) != 0 ? S_OK : S_FALSE; }
    HRESULT setFlag(std::uint32_t bit, bool on) noexcept;
};
