#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "clock_corrector/clock_corrector.h"
#include "foundation/callback_slot.h"
#include "foundation/semaphore_queue.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "interfaces/i_logger.h"
#include "media/host/interfaces.h"
#include "network/net_sender.h"
#include "platform/clock.h"
#include "platform/waitable.h"

/// Samples between the input pin and the send loop, each holding a buffer of the pin's allocator: that bounds its
/// length.
using SampleQueue = mcgate::foundation::SemaphoreQueue<mcgate::platform::ComPtr<IMediaSample>>;

using CrossingSlot = mcgate::foundation::CallbackSlot<
    quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::IDelayCrossingCallback>;

/// Tells the callback, if one is set, the sample's data id, if it has one.
void reportCrossing(CrossingSlot& slot, IMediaSample& sample);

/// What the streaming thread, the control threads and the send loop share. Words polled by the loop are relaxed
/// atomics; flushRequested is sequentially consistent and read anew at each look.
struct SendState {
    std::atomic<std::uint32_t> flushRequested{0};  ///< 1: a discontinuity came and its flush has not ended
    std::atomic<bool> streamIsTimeStamped{false};  ///< set by the pin on connection
    std::atomic<bool> pacingEnabled{true};
    std::atomic<std::int64_t> timeOffset{0};  ///< configured hold-back, 100 ns
    SampleQueue queue;
    mcgate::platform::Event stopEvent{mcgate::platform::Event::Reset::Automatic};
    CrossingSlot inputCrossingCallback;
    CrossingSlot outputCrossingCallback;
};

/// Where the loop gets its times and where its samples go. A test puts a virtual clock here.
struct SendLoopEnvironment {
    std::function<double()> localTime;                                          ///< seconds, millisecond steps
    std::function<mcgate::platform::ComPtr<IReferenceClock>()> referenceClock;  ///< the graph's, or empty
    std::function<std::uint32_t()> tick;                                        ///< milliseconds, wrapping
    std::function<bool(std::uint32_t milliseconds)> waitForStop;                ///< true ends the loop
    std::function<quorvel::network::udp::lib_udp::v2_1::NetSender&()> netSender;
    quorvel::log::i_logger::v0::ILogger& log;
};

/// The sender's one time-critical loop: takes samples, holds each back until its place in the stream has come on the
/// clock, and hands the bytes to the NetSender. Keeps the spacing of time stamps; late samples leave at once and none
/// is dropped.
///
/// The hold-back is `timeOffset` plus an offset that grows by 1 ms at each empty queue, so that it settles where the
/// next sample is always there when the present one has left. A discontinuity sample flushes: all that is queued leaves
/// unpaced, then the next sample sets new origins.
///
/// Threads: made and run on the send thread alone; others reach it through SendState. It holds no lock while it waits,
/// and every wait is on the stop event or includes it. turn() handles what a destination, a sample or a clock throws;
/// what a log throws is the caller's.
class SendLoop {
public:
    SendLoop(SendState& state, SendLoopEnvironment environment);

    /// Takes and sends one sample, waiting for it if need be. False when the stop event ended the loop.
    bool turn();

private:
    static constexpr std::int64_t kUnset = -1;

    double referenceTime();
    void startClocks();
    void rebase();
    void onEmptyQueue();
    void growOffset();
    bool isPaced() const;
    std::optional<std::uint32_t> pacingWait(IMediaSample& sample);
    void tellWhenStabilized();
    void sendSample(IMediaSample& sample);
    void sendPlain(const std::uint8_t* data, std::int32_t length, REFERENCE_TIME start);
    void sendTimeStamped(const std::uint8_t* data, std::int32_t length, REFERENCE_TIME start);
    void logException() noexcept;
    void logOffsets(const char* progress, std::int64_t grown);

    SendState& state_;
    const SendLoopEnvironment environment_;
    std::unique_ptr<quorvel::clock_corrector::IClock> localClock_;
    std::unique_ptr<quorvel::clock_corrector::IClock> referenceClock_;
    std::unique_ptr<quorvel::clock_corrector::ICorrectedClock> correctedClock_;
    bool flushSeen = false;                ///< re-based for the flush now requested
    std::int64_t stabilizationOffset = 0;  ///< 100 ns
    std::uint32_t stabilizationTick = 0;   ///< of the last growth
    bool stabilizing = false;              ///< grown, and the line that it has settled is still owed
    std::int64_t clockStart = kUnset;      ///< corrected time that belongs to sampleStart, 100 ns
    std::int64_t sampleStart = kUnset;     ///< time of the first paced sample after a re-base, 100 ns
};
