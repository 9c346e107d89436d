#pragma once

#include "media/mem_allocator.h"
#include "media/oob_media_sample.h"

/// The sample that CMemAllocator hands out. Its last Release clears in-line type, flags, stream id and side data and
/// gives it back to the allocator; no side data survives a round.
class CMediaSample final : public COOBMediaSample {
public:
    CMediaSample(CMemAllocator& allocator, std::uint8_t* buffer, std::int32_t bytes) noexcept;
    std::uint32_t Release() override;

private:
    friend class CMemAllocator;
    CMemAllocator& allocator_;
    CMediaSample* next_ = nullptr;  ///< link of the free list
};
