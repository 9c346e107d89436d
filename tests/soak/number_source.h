#pragma once

#include <atomic>
#include <memory>

#include "foundation/thread.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "media/host/base_filter.h"
#include "platform/unknown.h"
#include "platform/waitable.h"
#include "soak/handovers.h"
#include "soak/soak_time.h"

namespace soak {

using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::IDelayCrossingCallback;

/// Hands 1500 numbered samples a second to the sender, each with its time stamp and data id, a little before its time.
/// Numbers go on from run to run; each run begins with a discontinuity.
///
/// Threads: graph threads; a streaming thread from Active until drained, or Inactive; the sender's calls OnDataCrossing
/// at its output, so plug this in there. Inactive stops the thread without any lock that it takes.
class NumberSource final : public CBaseFilter, public IDelayCrossingCallback {
public:
    /// Both outlive the source.
    static mcgate::platform::ComPtr<NumberSource> create(const SoakTime& time, Handovers& handovers);

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override;

    /// Ends the stream without loss, as an operator would before a stop: returns when the sender has sent the last
    /// number. False when it did not in five seconds, or refused a sample.
    bool drain();
    /// False once a sample was refused or not sent.
    bool healthy() const noexcept { return healthy_.load(); }

    void OnReserved() override {}
    void OnDataCrossing(std::uint64_t dataId) override {
        handovers_.left(dataId, time_.now());
        sent_.store(dataId);
    }

private:
    class Pin;
    NumberSource(const SoakTime& time, Handovers& handovers);
    ~NumberSource() override;
    void startStreaming();
    void stopStreaming();
    void stream();
    bool deliver(std::uint32_t number, std::int64_t time, bool discontinuity);
    bool waitUntil(std::int64_t time);
    bool waitUntilSent(std::uint32_t number);

    const SoakTime& time_;
    Handovers& handovers_;
    CCritSec filterLock_;
    std::unique_ptr<Pin> pin_;
    mcgate::platform::Event stopEvent_{mcgate::platform::Event::Reset::Manual};
    mcgate::platform::Event drainEvent_{mcgate::platform::Event::Reset::Manual};
    std::atomic<std::uint64_t> sent_{0};
    std::atomic<bool> healthy_{true};
    std::unique_ptr<quorvel::system::thread::v1::Thread> thread_;
};

}  // namespace soak
