#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "interfaces/i_logger.h"
#include "media/host/base_output_pin.h"
#include "media/output_queue.h"
#include "receiver/net_receiver.h"

/// The receiver's one pin: offers the two stream types, sizes the sample pool, gives the worker its samples, turns the
/// private stream's datagrams into timed samples, and passes samples on through a queue, so that a slow downstream does
/// not hold the worker.
///
/// Threads: the worker (GetDeliveryBuffer, Deliver), graph threads (the rest). All under the filter's lock, but for the
/// notice of a dry pool and the wait for a free sample: these hold a counted copy of the allocator and no lock, so a
/// Stop can decommit it.
/// DeliverEndOfStream waits under that lock until downstream has taken everything; the queue's thread does not need it.
class CNetOutputPin final : public CBaseOutputPin, public IReceiverPin {
public:
    /// `log` gives the filter's present log.
    CNetOutputPin(CBaseFilter* filter, CCritSec* lock, std::function<ILogPerf&()> log);
    ~CNetOutputPin() override;

    HRESULT Active() override;
    HRESULT Inactive() override;
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                              std::uint32_t flags) override;
    HRESULT Deliver(IMediaSample* sample) override;
    HRESULT DeliverEndOfStream() override;

    bool BreakWait() override;
    void MendAfterBreak() override;

private:
    HRESULT waitForBuffer(IMemAllocator& pool, IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                          std::uint32_t flags);
    bool isTimeStamped() const noexcept;

    const std::function<ILogPerf&()> log_;
    std::unique_ptr<COutputQueue> outputQueue_;  ///< between Active and Inactive of a connected pin; under the lock
    std::atomic<bool> waiting_{false};           ///< the worker waits for a free sample
};
