#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "foundation/thread.h"
#include "media/host/interfaces.h"
#include "network/net_listener.h"
#include "network/raw_membership_sender.h"
#include "platform/critical_section.h"
#include "platform/waitable.h"
#include "receiver/flow_watch.h"

/// What the worker needs of the output pin.
class IReceiverPin {
public:
    virtual HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                                      std::uint32_t flags) = 0;
    virtual HRESULT Deliver(IMediaSample* sample) = 0;
    /// Ends a wait for a free sample, if the worker is in one, by decommitting the pool; true when it did.
    virtual bool BreakWait() = 0;
    /// Commits the pool again, unless the filter has stopped meanwhile.
    virtual void MendAfterBreak() = 0;

protected:
    ~IReceiverPin() = default;
};

/// What a worker makes for itself: the real listener and raw sender, or a test's.
struct ReceiverMakers {
    using Endpoint = quorvel::network::udp::lib_udp::v2_1::Endpoint;
    using INetListener = quorvel::network::udp::lib_udp::v2_1::INetListener;
    using IRawMembershipSender = quorvel::network::ip::igmp_socket::v0::IRawMembershipSender;

    static std::unique_ptr<INetListener> makeListener(const Endpoint& target);
    static std::unique_ptr<IRawMembershipSender> makeRawSender();

    std::function<std::unique_ptr<INetListener>(const Endpoint&)> listener = makeListener;
    std::function<std::unique_ptr<IRawMembershipSender>()> rawSender = makeRawSender;
};

/// The receiver's worker: one thread that owns the listening socket, makes a sample of each datagram, watches for
/// silence and answers it, first by joining anew, then by reporting that no data flows.
///
/// Threads: the worker in ReceiveTurn; one control thread at a time (the filter's ConfigLock) in Start, StopThread and
/// the destructor. ReceiveLock guards the listener and the counters; the worker holds it through wait, read, delivery
/// and rebuild, and nobody else takes it but Open after the worker has ended. Order: ReceiveLock, then the listener's
/// or the filter's lock. StopThread waits with no lock of this class or of the filter held; a worker that waits for a
/// free sample meanwhile is freed by decommitting the pool.
class CNetReceiver {
public:
    using Endpoint = quorvel::network::udp::lib_udp::v2_1::Endpoint;
    using INetListener = quorvel::network::udp::lib_udp::v2_1::INetListener;
    using IRawMembershipSender = quorvel::network::ip::igmp_socket::v0::IRawMembershipSender;

    using Makers = ReceiverMakers;

    /// Errors: what making the raw sender throws.
    CNetReceiver(IReceiverPin& pin, FlowWatch& watch, Makers makers = {});
    ~CNetReceiver();
    CNetReceiver(const CNetReceiver&) = delete;
    CNetReceiver& operator=(const CNetReceiver&) = delete;

    /// Ends the present worker, opens and joins `target`, starts a worker. A failure leaves no thread, and no listener
    /// if that was what failed: E_FAIL, or the code of a status exception.
    HRESULT Start(const Endpoint& target);
    /// The two halves of Start: Launch may be called with the filter's lock held, so that the first turn waits for the
    /// pin to be active.
    HRESULT Open(const Endpoint& target);
    HRESULT Launch();
    /// Returns when the worker has ended: within a turn (about 100 ms), the time set below later when it waits for a
    /// free sample, and without bound only while downstream blocks in a direct call.
    void StopThread();
    /// How long a worker that waits for a free sample is given at the next stop, before the pool is decommitted; 250 ms
    /// at first. A caller that has already waited for another one's stop gives less. Under the filter's ConfigLock.
    void setBreakWaitAfter(std::uint32_t milliseconds) noexcept { breakWaitAfterMs_ = milliseconds; }
    static constexpr std::uint32_t kBreakWaitAfterMs = 250;
    /// The worker's life.
    void ThreadBody();
    /// Waits up to 100 ms for a datagram and handles it, or counts the silence. What it throws comes from downstream or
    /// the data listener; ThreadBody treats that as a failed turn.
    HRESULT ReceiveTurn();

private:
    /// Where a datagram goes: a sample of the pool, or the scratch buffer while the pin can't take one.
    struct Target {
        mcgate::platform::ComPtr<IMediaSample> sample;
        std::uint8_t* memory = nullptr;
        std::uint32_t capacity = 0;
    };

    HRESULT obtainTarget(Target& target);
    void receiveInto(Target& target);
    void onSilence();
    void announceGroup();
    void rebuildListener();
    void repairListener();
    void openLost();
    bool hasExpired() const noexcept;

    static constexpr std::int32_t kTurnMs = 100;
    static constexpr std::int32_t kSmallestSample = 1500;
    static constexpr std::uint32_t kRetryMs = 1000;

    IReceiverPin& pin_;
    FlowWatch& watch_;
    const Makers makers_;
    std::unique_ptr<IRawMembershipSender> rawSender_;
    std::unique_ptr<quorvel::system::thread::v1::Thread> workerThread_;
    mcgate::platform::CriticalSection receiveLock_;
    std::unique_ptr<INetListener> listener_;
    mcgate::platform::Event stopEvent_{mcgate::platform::Event::Reset::Automatic};
    mcgate::platform::Event ended_{mcgate::platform::Event::Reset::Manual};
    std::int32_t silentMs_ = 0;
    std::uint32_t breakWaitAfterMs_ = kBreakWaitAfterMs;
    std::uint32_t expiries_ = 0;    ///< since the last datagram
    std::optional<Endpoint> lost_;  ///< what a failed rebuild could not open, to be tried again
    std::uint32_t lastAttemptTick_ = 0;
    std::uint32_t lastSilenceTick_ = 0;
    std::array<std::uint8_t, 2048> scratch_;
};
