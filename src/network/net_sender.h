#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/thread.h"
#include "interfaces/i_logger.h"
#include "network/address.h"
#include "network/packet_queue.h"
#include "network/udp_sender.h"
#include "platform/critical_section.h"
#include "platform/waitable.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

/// Turns the bytes of samples into datagrams of at most 1500 bytes and gives each to every destination, in list order.
///
/// Plain form (sendAggregated): samples below 1500 bytes are gathered whole; the datagram leaves when the next one does
/// not fit. The last bytes of a stream wait until more come, and clear() forgets them. Chunked form: a datagram each
/// 1500 bytes, the rest at once.
///
/// Threads: the send loop (sendAggregated, sendChunked), the control thread (setDestinations, clear), and its own drain
/// thread, which retries each millisecond what a failing destination left at the head of the queue. One re-entrant lock
/// over everything; it is the last in the filter's order, and it is held while a destination sends, which can block for
/// as long as the kernel's send buffer is full. The drain thread is joined before anything it uses goes. Failure: a
/// destination that throws leaves the packet at the head; the next drain gives it to all destinations again. At 8192
/// queued packets the oldest goes.
class NetSender {
public:
    using SenderMaker = std::function<std::unique_ptr<UdpSender>(const DestinationAddresses&)>;

    /// `log` is not owned and outlives this. Errors: std::system_error when the thread can't start.
    explicit NetSender(quorvel::log::i_logger::v0::ILogger& log, SenderMaker maker = makeSockUdpSender);
    ~NetSender();
    NetSender(const NetSender&) = delete;
    NetSender& operator=(const NetSender&) = delete;

    /// Without destinations the bytes are dropped. What a destination throws passes on; the bytes are then kept.
    void sendAggregated(const std::uint8_t* data, std::uint16_t length, std::int64_t timeTag);
    void sendChunked(const std::uint8_t* data, std::uint16_t length, std::int64_t timeTag);
    /// Sends what is queued; passes on what a destination throws.
    void drain();

    /// Replaces the destinations; the bytes and packets of the old ones are gone. One that can't be made is skipped
    /// with a line at level 1. Throws ExceptionTemplate<NetSender> "unable to create UDP senders" when none results.
    void setDestinations(const std::vector<DestinationAddresses>& list);
    /// Forgets unsent bytes and closes all destinations.
    void clear();

    static std::unique_ptr<UdpSender> makeSockUdpSender(const DestinationAddresses& addresses);

private:
    void drainLoop();
    void drainQuietly() noexcept;
    void tellDrainFailure() noexcept;
    void makeDestinations(const std::vector<DestinationAddresses>& list);
    UdpPacket& nextSlot();
    void queuePending();
    void queueChunks(const std::uint8_t* data, std::uint16_t length, std::int64_t timeTag);
    void drainQueue();

    quorvel::log::i_logger::v0::ILogger& log_;
    const SenderMaker maker_;
    mcgate::platform::CriticalSection lock_;
    mcgate::platform::Event stopEvent_{mcgate::platform::Event::Reset::Manual};
    std::vector<std::unique_ptr<UdpSender>> destinations_;
    PacketQueue packetQueue;
    UdpPacket pendingPacket;
    bool overflowTold_ = false;  ///< the line for the present overflow episode went out; over when the queue is empty
    std::string lastFailure_;    ///< drain thread only: text and time of the last line it logged
    std::uint32_t lastFailureTick_ = 0;
    std::optional<quorvel::system::thread::v1::Thread> drainThread_;  ///< last: starts when all else stands
};

}  // namespace quorvel::network::udp::lib_udp::v2_1
