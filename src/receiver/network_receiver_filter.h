#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "foundation/log_perf.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_source_config.h"
#include "media/host/base_filter.h"
#include "media/host/persist_stream.h"
#include "network/endpoint.h"
#include "receiver/flow_watch.h"
#include "receiver/net_receiver.h"
#include "receiver/output_pin.h"

/// The receiver filter: one output pin, no input pin. Reception lasts from the pause out of stopped, which opens the
/// socket and joins, until the next pause; Stop delivers end of stream and leaves the worker to that pause or to
/// destruction.
///
/// Locks, in this order: configLock_ (held through Pause and SetSource, so that one thread at a time makes, starts,
/// stops and destroys workers; it is held while a worker ends, a turn of about 100 ms, 250 ms more when it waits for a
/// free sample, without bound only while downstream blocks in a direct call), the worker's ReceiveLock, filterLock_
/// (state, pin, the worker pointer), and sourceLock_ as a leaf around copy, compare and swap of Source. No worker is
/// waited for with filterLock_ held, and nothing takes configLock_ under it. No lock is held while a stream is read or
/// written.
class CNetworkReceiverFilter final : public CBaseFilter,
                                     public ISourceConfig,
                                     public IAMFilterMiscFlags,
                                     public ISpecifyPropertyPages,
                                     public CPersistStream {
public:
    static constexpr AMOVIESETUP_FILTER kSetup{&CLSID_CNetworkReceiverFilter, u"Quorvel Multicast Receiver",
                                               MERIT_DO_NOT_USE, 0, nullptr};

    /// A new filter without a reference, or null and a failure in `*status`; nothing is thrown, no object stays.
    static CNetworkReceiverFilter* CreateInstance(IUnknown* outer, HRESULT* status) noexcept;

    /// For tests, with makers of listeners and raw senders of theirs.
    explicit CNetworkReceiverFilter(IUnknown* outer, CNetReceiver::Makers makers = {});
    ~CNetworkReceiverFilter() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override;
    const AMOVIESETUP_FILTER* GetSetupData() override { return &kSetup; }
    /// E_FAIL, and still stopped, when the socket can't be opened or joined. Runs without a socket when not configured.
    HRESULT Pause() override;
    HRESULT Stop() override;

    HRESULT SetSource(std::int32_t port, const WCHAR* local, const WCHAR* group, const WCHAR* source) override;
    HRESULT GetSource(BSTR* group, std::uint32_t* port, BSTR* local, BSTR* source) override;
    HRESULT SetDataSourceListener(IDataSourceListener* listener) override;
    HRESULT RemoveDataSourceListener(IDataSourceListener* listener) override;
    HRESULT GetDataPresent(std::uint8_t* present) override;
    HRESULT GetTimeout(std::uint32_t* milliseconds) override;
    HRESULT SetTimeout(std::int32_t milliseconds) override;
    HRESULT SetLogPerf(ILogPerf* log) override;

    std::uint32_t GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_SOURCE; }
    HRESULT GetPages(CAUUID* pages) override;

    HRESULT GetClassID(GUID* id) override { return CBaseFilter::GetClassID(id); }
    std::int32_t SizeMax() override { return 3 * 128 + 2; }
    /// The local address, the port in network byte order, the group and the source; absent addresses are all zero.
    HRESULT WriteToStream(IStream* stream) override;
    /// Takes the addresses through the rules of SetSource, and the port from its own field; without a group it is
    /// unicast. A refused local address or source, or a stream that ends early, leaves the filter not configured
    /// (S_OK); a group that is no address
    /// is E_FAIL, and nothing changed, as after a failing read. Acts at the next Pause out of stopped.
    HRESULT ReadFromStream(IStream* stream) override;

private:
    using Endpoint = quorvel::network::udp::lib_udp::v2_1::Endpoint;

    Endpoint source() const;
    bool swapIfDifferent(Endpoint& fresh);
    HRESULT pauseActive();
    HRESULT pauseOutOfStopped();
    HRESULT basePause();

    CCritSec filterLock_;
    std::unique_ptr<CNetOutputPin> pin_;
    CCritSec configLock_;
    quorvel::log::log_perf::v4::DummyLogPerf ownLog_;
    std::atomic<ILogPerf*> log_{&ownLog_};
    mutable std::mutex sourceLock_;
    Endpoint source_;  ///< under sourceLock_; all zero: not configured
    std::atomic<std::int32_t> timeoutMs_{5000};
    FlowWatch watch_;
    const CNetReceiver::Makers makers_;
    std::unique_ptr<CNetReceiver> worker_;  ///< written under configLock_ and filterLock_
};
