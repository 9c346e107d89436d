#include "network/net_sender.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "foundation/exceptions.h"
#include "foundation/status.h"
#include "network/sock_udp_sender.h"
#include "platform/clock.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

using mcgate::foundation::textOfCurrentException;

namespace {

constexpr std::uint32_t kTickMs = 1;
constexpr std::uint32_t kRepeatMs = 1000;

}  // namespace

NetSender::NetSender(quorvel::log::i_logger::v0::ILogger& log, SenderMaker maker)
    : log_(log), maker_(std::move(maker)) {
    drainThread_.emplace([this] { drainLoop(); }, quorvel::system::thread::v1::kStartRunning);
    drainThread_->handle().setPriority(mcgate::platform::kPriorityTimeCritical);
}

NetSender::~NetSender() {
    stopEvent_.set();
    drainThread_->Wait();
}

std::unique_ptr<UdpSender> NetSender::makeSockUdpSender(const DestinationAddresses& addresses) {
    return std::make_unique<SockUdpSender>(addresses);
}

void NetSender::sendAggregated(const std::uint8_t* data, std::uint16_t length, std::int64_t timeTag) {
    const std::lock_guard hold(lock_);
    if (destinations_.empty()) return;
    if (pendingPacket.size != 0 && pendingPacket.size + length > static_cast<int>(UdpPacket::kCapacity)) queuePending();
    if (length >= UdpPacket::kCapacity) {
        queueChunks(data, length, timeTag);
        drainQueue();
        return;
    }
    if (pendingPacket.size == 0) pendingPacket.timeTag = timeTag;
    if (length != 0) std::memcpy(pendingPacket.payload.data() + pendingPacket.size, data, length);
    pendingPacket.size = static_cast<std::uint16_t>(pendingPacket.size + length);
    drainQueue();
}

void NetSender::queuePending() {
    UdpPacket& slot = nextSlot();
    slot.size = pendingPacket.size;
    slot.timeTag = pendingPacket.timeTag;
    std::memcpy(slot.payload.data(), pendingPacket.payload.data(), pendingPacket.size);
    pendingPacket.size = 0;
}

void NetSender::sendChunked(const std::uint8_t* data, std::uint16_t length, std::int64_t timeTag) {
    const std::lock_guard hold(lock_);
    if (destinations_.empty()) return;
    queueChunks(data, length, timeTag);
    drainQueue();
}

void NetSender::queueChunks(const std::uint8_t* data, std::uint16_t length, std::int64_t timeTag) {
    for (std::size_t offset = 0; offset < length;) {
        UdpPacket& slot = nextSlot();
        slot.size = static_cast<std::uint16_t>(std::min(length - offset, UdpPacket::kCapacity));
        slot.timeTag = timeTag;
        std::memcpy(slot.payload.data(), data + offset, slot.size);
        offset += slot.size;
    }
}

UdpPacket& NetSender::nextSlot() {
    if (packetQueue.full() && !overflowTold_) {
        log_.Log(1, "packet queue full, dropping the oldest packets");
        overflowTold_ = true;
    }
    return packetQueue.append();
}

void NetSender::drain() {
    const std::lock_guard hold(lock_);
    drainQueue();
}

void NetSender::drainQueue() {
    while (!packetQueue.empty()) {
        for (const auto& destination : destinations_) destination->send(packetQueue.head());
        packetQueue.removeHead();
    }
    overflowTold_ = false;
}

void NetSender::drainLoop() {
    while (!mcgate::platform::wait(stopEvent_, kTickMs)) drainQuietly();
}

void NetSender::drainQuietly() noexcept {
    // Whoever holds the lock sends what is queued, or takes the destinations away, or fails and leaves it to the next
    // tick: no use in waiting for it.
    std::unique_lock hold(lock_, std::try_to_lock);
    if (!hold.owns_lock()) return;
    try {
        drainQueue();
        lastFailure_.clear();
    } catch (...) {
        hold.unlock();  // a log may take its time
        tellDrainFailure();
    }
}

// The first failure, then each new text, and the same one once a second: the drain thread fails a thousand times in it.
void NetSender::tellDrainFailure() noexcept {
    try {
        std::string text = textOfCurrentException();
        const std::uint32_t now = mcgate::platform::tickCount();
        if (text == lastFailure_ && now - lastFailureTick_ < kRepeatMs) return;
        lastFailure_ = std::move(text);
        lastFailureTick_ = now;
        log_.Log(0, "%s", lastFailure_.c_str());
    } catch (...) {
        return;  // no memory to tell it, or a log that fails: the next tick tries again
    }
}

void NetSender::setDestinations(const std::vector<DestinationAddresses>& list) {
    const std::lock_guard hold(lock_);
    clear();
    try {
        makeDestinations(list);
    } catch (...) {
        clear();  // all or nothing: what was made so far would send for a filter that is stopped
        throw;
    }
    if (destinations_.empty()) {
        throw cpp_utils::exception_utils::v1::ExceptionTemplate<NetSender>("unable to create UDP senders");
    }
}

void NetSender::makeDestinations(const std::vector<DestinationAddresses>& list) {
    for (const auto& addresses : list) {
        try {
            destinations_.push_back(maker_(addresses));
        } catch (const cpp_utils::exception_utils::v1::QuorvelException& failure) {
            log_.Log(1, "unable to create UDP sender: %s", failure.what());
        }
    }
}

void NetSender::clear() {
    const std::lock_guard hold(lock_);
    pendingPacket.size = 0;
    packetQueue.clear();
    destinations_.clear();
    overflowTold_ = false;
}

}  // namespace quorvel::network::udp::lib_udp::v2_1
