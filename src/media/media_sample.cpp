#include "media/media_sample.h"

CMediaSample::CMediaSample(CMemAllocator& allocator, std::uint8_t* buffer, std::int32_t bytes) noexcept
    : COOBMediaSample(buffer, bytes), allocator_(allocator) {}

std::uint32_t CMediaSample::Release() {
    const std::int32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left != 0) return static_cast<std::uint32_t>(left);
    clearForReuse();
    allocator_.ReleaseBuffer(this);  // may end the pool, and this sample with it
    return 0;
}
