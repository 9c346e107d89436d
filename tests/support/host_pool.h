#pragma once

#include <algorithm>
#include <atomic>
#include <limits>

#include "media/mem_allocator.h"

namespace test {

/// A pool of the host's own, as an input pin may offer one: passes everything on to a CMemAllocator, but may give
/// smaller buffers than asked for, and may stay committed when pins tell it otherwise. Any thread.
class HostPool final : public CUnknown, public IMemAllocator {
public:
    explicit HostPool(std::int32_t largestBuffer = std::numeric_limits<std::int32_t>::max())
        : CUnknown(nullptr), largestBuffer_(largestBuffer) {}

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override {
        if (id == IMemAllocator::iid) return GetInterface(static_cast<IMemAllocator*>(this), object);
        return CUnknown::NonDelegatingQueryInterface(id, object);
    }
    HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override {
        ALLOCATOR_PROPERTIES smaller = *request;
        smaller.cbBuffer = std::min(smaller.cbBuffer, largestBuffer_);
        return pool_->SetProperties(&smaller, actual);
    }
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override { return pool_->GetProperties(properties); }
    HRESULT Commit() override { return pool_->Commit(); }
    HRESULT Decommit() override { return stayCommitted_ ? S_OK : pool_->Decommit(); }
    HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                      std::uint32_t flags) override {
        ++requests_;
        return pool_->GetBuffer(sample, start, stop, flags);
    }
    HRESULT ReleaseBuffer(IMediaSample* sample) override { return pool_->ReleaseBuffer(sample); }

    void stayCommitted(bool stay) { stayCommitted_ = stay; }
    /// Calls of GetBuffer so far.
    int requests() const { return requests_; }

private:
    const std::int32_t largestBuffer_;
    const mcgate::platform::ComPtr<CMemAllocator> pool_{new CMemAllocator(nullptr)};
    std::atomic<bool> stayCommitted_{false};
    std::atomic<int> requests_{0};
};

}  // namespace test
