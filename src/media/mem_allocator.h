#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "media/host/base_object.h"
#include "media/host/interfaces.h"
#include "platform/leaf_lock.h"
#include "platform/waitable.h"

class CMediaSample;

/// A pool of samples over one block of memory, handed out and taken back without allocation.
///
/// Threads: any. Those who take samples and those who return them have a list and a lock each, so that at full speed
/// the two sides rarely touch the same memory: takeLock_ (own list, state), then returnLock_ (returned list, waiters);
/// a taker whose list is empty takes over the returned one. Neither is held while waiting. Decommit ends every wait
/// (but not the 40 ms that a caller asked to sleep before one). While committed, or with samples out, the pool keeps
/// itself alive, so it may outlive pins and filters. Rules: properties are refused while committed
/// (VFW_E_ALREADY_COMMITTED) or with samples out (VFW_E_BUFFERS_OUTSTANDING); the alignment must divide the page size
/// (VFW_E_BADALIGN) and sizes are rounded up to it, prefix included; Commit without sizes gives VFW_E_SIZENOTSET; a
/// decommit with samples out is pending until the last is back, and a commit meanwhile takes it back.
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
    using Hold = std::unique_lock<mcgate::platform::LeafLock>;

    HRESULT allocate();
    HRESULT tryAllocate() noexcept;
    void releaseMemory() noexcept;
    CMediaSample* takeFree() noexcept;
    void takeOverReturned() noexcept;
    bool allBack() noexcept;
    void waitForReturn(std::uint32_t decommits, std::uint32_t offers, std::uint32_t flags);
    void releaseIfAllBack();
    void tellTakers() noexcept;
    bool putBack(CMediaSample& back);
    bool handOver(CMediaSample& back);

    mcgate::platform::LeafLock takeLock_;  // over what follows; with returnLock_ held, too, where it says so
    ALLOCATOR_PROPERTIES properties_;
    CMediaSample* free_ = nullptr;  ///< linked through the samples, last returned first
    std::int32_t freeCount_ = 0;
    std::int32_t made_ = 0;
    // The pool holds a reference on itself exactly while one of the two is true.
    bool committed_ = false;
    bool decommitPending_ = false;  ///< written with both locks
    std::uint32_t decommits_ = 0;   ///< written with both locks
    std::uint32_t offers_ = 0;      ///< raised when samples turn up in free_; written with both locks
    std::int32_t sleepers_ = 0;     ///< takers that found nothing and wait, or are about to
    std::unique_ptr<Block> block_;  ///< memory and samples; there while committed or with samples out

    alignas(mcgate::platform::kCacheLine) mcgate::platform::LeafLock returnLock_;  // over what follows
    std::condition_variable_any returnedOne_;
    CMediaSample* returned_ = nullptr;
    CMediaSample* firstReturned_ = nullptr;  ///< the end of that list
    std::int32_t returnedCount_ = 0;
    std::int32_t waiters_ = 0;
    std::atomic<bool> anyReturned_{false};  ///< a look at returned_ without the lock
    mcgate::platform::Patience patience_;

    /// A taker that returns a sample, as a probe does, puts it back where it takes from. On a line of its own: read by
    /// all, written seldom.
    alignas(mcgate::platform::kCacheLine) std::atomic<std::thread::id> lastTaker_{};
};
