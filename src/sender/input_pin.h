#pragma once

#include "interfaces/i_logger.h"
#include "media/host/base_input_pin.h"
#include "sender/send_loop.h"

/// The sender's one pin: accepts the three stream types, asks for thirty seconds of buffers, and queues each sample for
/// the send loop without ever waiting for it. A pool without a free buffer means a full queue: samples are then
/// dropped, and answered with S_OK, until there is one again. A discontinuity sample starts a flush.
///
/// Threads: Receive on the upstream streaming thread under the filter's receive lock, which Stop takes too; the rest on
/// graph threads under the filter's lock. Nothing is held while waiting, as nothing waits.
class CInputPin final : public CBaseInputPin {
public:
    CInputPin(CBaseFilter* filter, CCritSec* filterLock, CCritSec& receiveLock, SendState& state,
              quorvel::log::i_logger::v0::ILogger& log);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    HRESULT Receive(IMediaSample* sample) override;
    /// Sends EC_COMPLETE once in the pin's life; bytes still gathered stay.
    HRESULT EndOfStream() override;

private:
    HRESULT receiveLocked(IMediaSample* sample);
    bool probeFindsNoBuffer();

    CCritSec& receiveLock_;
    SendState& state_;
    quorvel::log::i_logger::v0::ILogger& log_;
    std::atomic<bool> endOfStreamSent{false};
    bool dropping = false;  ///< under the receive lock
};
