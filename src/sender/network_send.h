#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/log_perf.h"
#include "foundation/thread.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "interfaces/i_sender_config.h"
#include "media/host/base_filter.h"
#include "media/host/persist_stream.h"
#include "network/net_sender.h"
#include "sender/input_pin.h"
#include "sender/send_loop.h"
#include "util/ip_interface_monitor.h"

/// One configured destination.
struct DestinationRecord {
    std::string Local;       ///< numeric address of the interface to send from
    std::uint16_t Port = 0;  ///< host byte order
    std::string Remote;      ///< numeric unicast or multicast address
};

using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::IDelayCrossingCallback;
using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::
    IDelayCrossingPointFilter;

/// The sender filter: one input pin, no output pin. Pause out of stopped turns the configured destinations into
/// sockets, Stop closes them. Paused and running do not differ. The send thread runs from construction to destruction;
/// pacing state survives a stop, and samples still queued then come to nothing or, after a quick new start, go to the
/// new destinations. The graph hears, as an event, when an interface of a destination's local address comes up or goes
/// down, and at each start the state of all of them; the sockets stay as they are.
///
/// Threads: graph and configuration threads, the upstream streaming thread (the pin's Receive), the send thread, the
/// NetSender's drain thread, the monitor's (NotifyEvent alone).
/// Locks, in this order: receiveLock_ (Receive in progress, Stop), filterLock_ (state, destinations, clock), the
/// NetSender's or the monitor's. The send thread takes filterLock_ only to copy the clock pointer. The destructor joins
/// the send thread first and then the monitor's, with no lock held: every wait of the send thread ends with the stop
/// event, and a blocking send ends when the kernel's buffer has room; the monitor's thread waits for the graph's event
/// sink alone. No lock is held while a stream is read or written: a save writes a copy of the list, a
/// load replaces the list when it has come to its end.
class CNetworkSend final : public CBaseFilter,
                           public ISenderConfig,
                           public ISpecifyPropertyPages,
                           public IAMFilterMiscFlags,
                           public CPersistStream,
                           public IDelayCrossingPointFilter {
public:
    using NetSender = quorvel::network::udp::lib_udp::v2_1::NetSender;

    static constexpr AMOVIESETUP_FILTER kSetup{&CLSID_CNetworkSend, u"Quorvel Multicast Sender", MERIT_DO_NOT_USE, 0,
                                               nullptr};

    /// A new filter without a reference, or null and a failure in `*status`; nothing is thrown, no object stays.
    static CNetworkSend* CreateInstance(IUnknown* outer, HRESULT* status) noexcept;

    /// For tests, with a maker of destinations of theirs. A failure is put into `*status`.
    CNetworkSend(IUnknown* outer, HRESULT* status, NetSender::SenderMaker maker = NetSender::makeSockUdpSender);
    ~CNetworkSend() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override;
    const AMOVIESETUP_FILTER* GetSetupData() override { return &kSetup; }
    /// E_FAIL, and still stopped, when no destination can be opened; the log tells why.
    HRESULT Pause() override;
    HRESULT Stop() override;

    HRESULT SetLogPerf(ILogPerf* log) override;
    HRESULT AddDestination(const WCHAR* remote, std::uint32_t port, const WCHAR* local, std::int32_t* index) override;
    HRESULT RemoveDestination(std::int32_t index) override;
    HRESULT SetDestination(std::int32_t index, const WCHAR* remote, std::uint32_t port, const WCHAR* local) override;
    HRESULT GetDestination(std::int32_t index, BSTR* remote, std::uint32_t* port, BSTR* local) override;
    HRESULT SetTimeOffset(std::int64_t milliseconds) override;
    HRESULT EnablePacing(std::int32_t enable) override;

    HRESULT GetClassID(GUID* id) override { return CBaseFilter::GetClassID(id); }
    std::int32_t SizeMax() override { return 1 + 15 * 256; }
    /// The number of destinations, its low byte, and of each 128 bytes of local address and 128 of remote. A stored
    /// text that is no address: E_FAIL, and nothing written.
    HRESULT WriteToStream(IStream* stream) override;
    /// Replaces the list. Nothing that is read is judged: a bad address shows at the next Pause out of stopped. After a
    /// failing read the list holds what came before it.
    HRESULT ReadFromStream(IStream* stream) override;

    HRESULT GetPages(CAUUID* pages) override;
    std::uint32_t GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }
    HRESULT SetInputCrossingCallback(IDelayCrossingCallback* callback) override;
    HRESULT SetOutputCrossingCallback(IDelayCrossingCallback* callback) override;

private:
    void sendLoop();
    bool turnSurvives(SendLoop& loop) noexcept;
    std::vector<quorvel::network::udp::lib_udp::v2_1::DestinationAddresses> destinationAddresses();
    void openDestinations();
    void refuse() noexcept;
    bool isEntry(std::int32_t index) const noexcept;

    CCritSec filterLock_;
    CCritSec receiveLock_;
    std::unique_ptr<CInputPin> pin_;
    quorvel::log::log_perf::v4::SmartLogPerf<quorvel::log::log_perf::v4::DummyLogPerf> log_;
    std::unique_ptr<NetSender> netSender;
    std::vector<DestinationRecord> destinations_;  ///< under filterLock_
    SendState state_;
    std::optional<quorvel::system::thread::v1::Thread> sendThread_;
    std::unique_ptr<mcgate::util::IpInterfaceMonitor> monitor_;
};
