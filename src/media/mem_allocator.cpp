#include "media/mem_allocator.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <deque>
#include <limits>
#include <new>
#include <thread>

#include "foundation/status.h"
#include "media/media_sample.h"
#include "platform/memory.h"

namespace {

constexpr std::chrono::milliseconds kSleepBeforeWait{40};

bool dividesPage(std::int32_t alignment) noexcept {
    return alignment > 0 && mcgate::platform::pageSize() % static_cast<std::size_t>(alignment) == 0;
}

}  // namespace

/// One piece of memory and the samples that cover it.
struct CMemAllocator::Block {
    Block(std::size_t bytes, std::size_t alignment)
        : alignment_{std::max(alignment, alignof(std::max_align_t))},
          memory_(static_cast<std::uint8_t*>(::operator new(bytes, alignment_))) {}
    ~Block() { ::operator delete(memory_, alignment_); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    const std::align_val_t alignment_;
    std::uint8_t* const memory_;
    std::deque<CMediaSample> samples_;
};

CMemAllocator::CMemAllocator(IUnknown* outer) : CUnknown(outer) {}

CMemAllocator::~CMemAllocator() = default;

HRESULT CMemAllocator::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IMemAllocator::iid) return GetInterface(static_cast<IMemAllocator*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CMemAllocator::SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) {
    if (request == nullptr || actual == nullptr) return E_POINTER;
    if (!dividesPage(request->cbAlign)) return VFW_E_BADALIGN;
    if (request->cBuffers < 0 || request->cbBuffer < 0 || request->cbPrefix < 0) return E_INVALIDARG;
    const std::int64_t stride = std::int64_t{request->cbBuffer} + request->cbPrefix;
    const std::int64_t rounded = (stride + request->cbAlign - 1) / request->cbAlign * request->cbAlign;
    if (rounded > std::numeric_limits<std::int32_t>::max()) return E_OUTOFMEMORY;

    const std::lock_guard hold(takeLock_);
    if (committed_) return VFW_E_ALREADY_COMMITTED;
    if (!allBack()) return VFW_E_BUFFERS_OUTSTANDING;
    properties_ = *request;
    properties_.cbBuffer = static_cast<std::int32_t>(rounded) - request->cbPrefix;
    *actual = properties_;
    return S_OK;
}

HRESULT CMemAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
    if (properties == nullptr) return E_POINTER;
    const std::lock_guard hold(takeLock_);
    *properties = properties_;
    return S_OK;
}

HRESULT CMemAllocator::Commit() {
    HRESULT status = S_OK;
    bool giveUp = false;  // the reference that a pending decommit held
    {
        const std::lock_guard hold(takeLock_);
        if (committed_) return S_OK;
        const bool pending = decommitPending_;
        // With the last sample back the decommit is over, though nobody has let the memory go yet: the sizes may be
        // new.
        if (pending && allBack()) releaseMemory();
        if (made_ == 0) status = tryAllocate();
        const std::lock_guard holdReturn(returnLock_);
        decommitPending_ = false;
        committed_ = SUCCEEDED(status);
        giveUp = pending && !committed_;
        if (!pending && committed_) AddRef();
    }
    if (giveUp) Release();
    return status;
}

HRESULT CMemAllocator::tryAllocate() noexcept {
    try {
        return allocate();
    } catch (...) {
        return mcgate::foundation::statusOfCurrentException();
    }
}

HRESULT CMemAllocator::allocate() {
    const ALLOCATOR_PROPERTIES& p = properties_;
    if (p.cBuffers <= 0 || p.cbBuffer <= 0 || p.cbAlign <= 0) return VFW_E_SIZENOTSET;
    const auto stride = static_cast<std::size_t>(p.cbBuffer) + static_cast<std::size_t>(p.cbPrefix);
    const auto count = static_cast<std::size_t>(p.cBuffers);
    auto block = std::make_unique<Block>(stride * count, static_cast<std::size_t>(p.cbAlign));
    for (std::size_t i = 0; i < count; ++i) {
        block->samples_.emplace_back(*this, block->memory_ + i * stride + p.cbPrefix, p.cbBuffer);
    }
    for (CMediaSample& sample : block->samples_) {
        sample.next_ = free_;
        free_ = &sample;
    }
    block_ = std::move(block);
    made_ = freeCount_ = p.cBuffers;
    return S_OK;
}

// With takeLock_ held, and every sample back in free_.
void CMemAllocator::releaseMemory() noexcept {
    free_ = nullptr;
    made_ = freeCount_ = 0;
    block_.reset();
}

HRESULT CMemAllocator::Decommit() {
    {
        const std::lock_guard hold(takeLock_);
        if (!committed_) return S_OK;
        committed_ = false;
        {
            const std::lock_guard holdReturn(returnLock_);
            ++decommits_;
            decommitPending_ = true;  // seen by whoever returns a sample from now on
            returnedOne_.notify_all();
        }
    }
    releaseIfAllBack();
    return S_OK;
}

HRESULT CMemAllocator::GetBuffer(IMediaSample** sample, REFERENCE_TIME*, REFERENCE_TIME*, std::uint32_t flags) {
    if (sample == nullptr) return E_POINTER;
    *sample = nullptr;
    Hold hold(takeLock_);
    // A wait ends with the decommit that it met, also when a commit follows before this thread has looked.
    const std::uint32_t decommits = decommits_;
    CMediaSample* taken = nullptr;
    while (committed_ && decommits_ == decommits && (taken = takeFree()) == nullptr) {
        if ((flags & AM_GBF_NOWAIT) != 0) return VFW_E_TIMEOUT;
        const std::uint32_t offers = offers_;
        ++sleepers_;
        hold.unlock();
        waitForReturn(decommits, offers, flags);
        hold.lock();
        --sleepers_;
    }
    if (taken == nullptr) return VFW_E_NOT_COMMITTED;
    const auto self = std::this_thread::get_id();
    if (lastTaker_.load(std::memory_order_relaxed) != self) lastTaker_.store(self, std::memory_order_relaxed);
    hold.unlock();
    taken->references_.store(1, std::memory_order_relaxed);
    *sample = taken;
    return S_OK;
}

// With takeLock_ held.
CMediaSample* CMemAllocator::takeFree() noexcept {
    if (free_ == nullptr && anyReturned_.load(std::memory_order_acquire)) takeOverReturned();
    if (free_ == nullptr) return nullptr;
    --freeCount_;
    return std::exchange(free_, free_->next_);
}

// With takeLock_ held. At most one sample is touched: they may still lie in the other processor's cache.
void CMemAllocator::takeOverReturned() noexcept {
    const std::lock_guard hold(returnLock_);
    if (returned_ == nullptr) return;
    if (free_ != nullptr) firstReturned_->next_ = free_;
    free_ = std::exchange(returned_, nullptr);
    freeCount_ += std::exchange(returnedCount_, 0);
    anyReturned_.store(false, std::memory_order_relaxed);
    ++offers_;  // who waits for the returned list must look at this one
    if (waiters_ > 0) returnedOne_.notify_all();
}

// With takeLock_ held: something is free beside the returned list.
void CMemAllocator::tellTakers() noexcept {
    const std::lock_guard hold(returnLock_);
    ++offers_;
    returnedOne_.notify_all();
}

// With takeLock_ held.
bool CMemAllocator::allBack() noexcept {
    takeOverReturned();
    return freeCount_ == made_;
}

// Until a sample may be free or the pool was decommitted; without takeLock_.
void CMemAllocator::waitForReturn(std::uint32_t decommits, std::uint32_t offers, std::uint32_t flags) {
    if ((flags & AM_GBF_SLEEP_BEFORE_WAIT) != 0) {
        std::this_thread::sleep_for(kSleepBeforeWait);
        if (anyReturned_.load(std::memory_order_acquire)) return;
    }
    if (patience_.look([this] { return anyReturned_.load(std::memory_order_acquire); })) return;
    Hold hold(returnLock_);
    ++waiters_;
    returnedOne_.wait(hold, [&] { return returned_ != nullptr || offers_ != offers || decommits_ != decommits; });
    --waiters_;
}

HRESULT CMemAllocator::ReleaseBuffer(IMediaSample* sample) {
    if (sample == nullptr) return E_POINTER;
    auto& back = *static_cast<CMediaSample*>(sample);
    const bool byTaker = lastTaker_.load(std::memory_order_relaxed) == std::this_thread::get_id();
    const bool pending = byTaker ? putBack(back) : handOver(back);
    if (!pending) return S_OK;
    releaseIfAllBack();
    Release();
    return S_OK;
}

// Both ways of returning: true when a decommit waits for the last sample; the pool is then held for the caller, who
// still has to look at it. Otherwise nothing but the lock's end touches a pool that another thread may be giving up.

bool CMemAllocator::putBack(CMediaSample& back) {
    const std::lock_guard hold(takeLock_);
    if (decommitPending_) AddRef();
    back.next_ = free_;
    free_ = &back;
    ++freeCount_;
    if (sleepers_ > 0) tellTakers();
    return decommitPending_;
}

bool CMemAllocator::handOver(CMediaSample& back) {
    const std::lock_guard hold(returnLock_);
    if (decommitPending_) AddRef();
    if (returned_ == nullptr) firstReturned_ = &back;
    back.next_ = returned_;
    returned_ = &back;
    ++returnedCount_;
    if (!anyReturned_.load(std::memory_order_relaxed)) anyReturned_.store(true, std::memory_order_release);
    if (waiters_ > 0) returnedOne_.notify_one();
    return decommitPending_;
}

void CMemAllocator::releaseIfAllBack() {
    {
        const std::lock_guard hold(takeLock_);
        if (!decommitPending_ || !allBack()) return;
        const std::lock_guard holdReturn(returnLock_);
        decommitPending_ = false;
        releaseMemory();
    }
    Release();
}

std::int32_t CMemAllocator::freeCount() {
    const std::lock_guard hold(takeLock_);
    takeOverReturned();
    return freeCount_;
}

std::int32_t CMemAllocator::waiterCount() {
    const std::lock_guard hold(returnLock_);
    return waiters_;
}
