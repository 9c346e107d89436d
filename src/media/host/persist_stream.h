#pragma once

#include <atomic>
#include <cstdint>
#include <span>

#include "media/host/interfaces.h"

/// Base of a filter that keeps its configuration in a stream. In front of it stands a version as text, 12 UTF-16LE code
/// units: 11 digits and a blank. A load passes over it whatever its value, and takes any number of digits behind an
/// optional minus, ended by one NUL, TAB, LF, CR or blank.
/// Threads: any; the derived class orders its two operations. Nothing is held here while a stream is used.
class CPersistStream : public IPersistStream {
public:
    HRESULT IsDirty() override { return dirty_.load() ? S_OK : S_FALSE; }
    /// VFW_E_INVALID_FILE_FORMAT for another version text or a stream that ends in it; a failing read's status; else
    /// what ReadFromStream gives. Leaves the mark alone.
    HRESULT Load(IStream* stream) override;
    /// A success marks the object as clean, or, with `clearDirty` 0, as dirty. A failure leaves the mark, and in the
    /// stream what was written.
    HRESULT Save(IStream* stream, std::int32_t clearDirty) override;
    HRESULT GetSizeMax(std::uint64_t* bytes) override;

    void SetDirty(bool dirty) noexcept { dirty_.store(dirty); }
    virtual std::int32_t GetSoftwareVersion() { return 0; }
    /// Bytes that the derived class wants behind the version.
    virtual std::int32_t SizeMax() = 0;
    /// What stands behind the version. They give statuses and throw nothing.
    virtual HRESULT WriteToStream(IStream* stream) = 0;
    virtual HRESULT ReadFromStream(IStream* stream) = 0;

protected:
    ~CPersistStream() = default;

private:
    std::atomic<bool> dirty_{false};
};

namespace mcgate::media {

/// Fills the field from the stream; what the stream no longer has reads as zero, and false tells of it. Both throw the
/// status of a call that failed.
bool readField(IStream& stream, std::span<std::uint8_t> field);
void writeField(IStream& stream, std::span<const std::uint8_t> field);

}  // namespace mcgate::media
