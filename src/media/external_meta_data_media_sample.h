#pragma once

#include "media/oob_media_sample.h"

/// A sample over another one: data and lengths are the wrapped sample's, flags, times, media type and side data are its
/// own and start as a copy (of the side data: all known keys but the Dolby record). So one payload can go two ways with
/// different records. Holds a reference on the wrapped sample and lets it go at its own last Release. Answers
/// IMediaSample, and IMediaSample2 and IMediaSample3 only where the wrapped sample does; else with that one's failure.
/// Threads: as COOBMediaSample.
class CExternalMetaDataMediaSample final : public COOBMediaSample {
public:
    /// Starts with a count of 0. Throws std::bad_alloc when a copy of the media type can't be made.
    explicit CExternalMetaDataMediaSample(IMediaSample& wrapped);

    HRESULT QueryInterface(const GUID& id, void** object) override;
    HRESULT GetPointer(std::uint8_t** buffer) override;
    std::int32_t GetSize() override;
    std::int32_t GetActualDataLength() override;
    HRESULT SetActualDataLength(std::int32_t bytes) override;
    HRESULT GetProperties(std::uint32_t bytes, std::uint8_t* properties) override;
    HRESULT SetProperties(std::uint32_t bytes, const std::uint8_t* properties) override;

private:
    void copyTimes();
    void copyFlags();
    void copyMediaType();
    void copyRecords();

    const mcgate::platform::ComPtr<IMediaSample> wrapped_;
};
