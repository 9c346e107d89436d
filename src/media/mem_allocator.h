#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "media/host/base_object.h"
#include "media/host/interfaces.h"

class CMediaSample;

/// A pool of samples over one block of memory, handed out and taken back without allocation.
///
/// Threads: any; one lock over list and counters, not held while waiting. Decommit ends every wait. While committed, or
/// with samples out, the pool keeps itself alive, so it may outlive pins and filters. Rules: properties are refused
/// while committed (VFW_E_ALREADY_COMMITTED) or with samples out (VFW_E_BUFFERS_OUTSTANDING); the alignment must divide
/// the page size (VFW_E_BADALIGN) and sizes are rounded up to it, prefix included; Commit without sizes gives
/// VFW_E_SIZENOTSET; a decommit with samples out is pending until the last is back, and a commit meanwhile takes it
/// back.
class CMemAllocator final : public CUnknown, public IMemAllocator {
public:
    explicit CMemAllocator(IUnknown* outer);
    ~CMemAllocator() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;
    HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override;
    HRESULT Commit() override;
    HRESULT Decommit() override;
    HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, std::uint32_t flags) override;
    HRESULT ReleaseBuffer(IMediaSample* sample) override;

    /// Free samples now; a look for reports and tests.
    std::int32_t freeCount();
    /// Threads inside GetBuffer's wait now; likewise.
    std::int32_t waiterCount();

private:
    struct Block;
    HRESULT allocate();
    bool allFree() const noexcept { return freeCount_ == made_; }
    void releaseMemory() noexcept;

    std::mutex lock_;
    std::condition_variable freed_;
    ALLOCATOR_PROPERTIES properties_;
    // The pool holds a reference on itself exactly while one of the two is true.
    bool committed_ = false;
    bool decommitPending_ = false;
    std::uint32_t decommits_ = 0;
    CMediaSample* free_ = nullptr;  ///< linked through the samples, last returned first
    std::int32_t made_ = 0;
    std::int32_t freeCount_ = 0;
    std::int32_t waiters_ = 0;
    std::unique_ptr<Block> block_;  ///< memory and samples; there while committed or with samples out
};
