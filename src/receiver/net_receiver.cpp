#include "receiver/net_receiver.h"

#include <chrono>
#include <mutex>
#include <thread>

#include "foundation/com_exception.h"
#include "foundation/status.h"
#include "platform/clock.h"
#include "platform/errors.h"

namespace udp = quorvel::network::udp::lib_udp::v2_1;
using quorvel::system::thread::v1::Thread;

namespace {

constexpr std::uint32_t kLookAgainMs = 50;
constexpr std::chrono::milliseconds kPauseAfterFailure{1};

// The status of a step of starting, whatever it throws.
template <class Step>
HRESULT guarded(Step&& step) {
    try {
        return step();
    } catch (const quorvel::system::com_utils::v1::COMException& failure) {
        return failure.code;
    } catch (const std::exception&) {
        return E_FAIL;
    } catch (...) {
        return mcgate::foundation::statusOfCurrentException();
    }
}

}  // namespace

CNetReceiver::CNetReceiver(IReceiverPin& pin, FlowWatch& watch, Makers makers)
    : pin_(pin), watch_(watch), makers_(std::move(makers)), rawSender_(makers_.rawSender()) {}

CNetReceiver::~CNetReceiver() { StopThread(); }

std::unique_ptr<ReceiverMakers::INetListener> ReceiverMakers::makeListener(const Endpoint& target) {
    return std::make_unique<udp::NetListener>(target);
}

std::unique_ptr<ReceiverMakers::IRawMembershipSender> ReceiverMakers::makeRawSender() {
    return std::make_unique<quorvel::network::ip::igmp_socket::v0::CRawMembershipSender>();
}

HRESULT CNetReceiver::Start(const Endpoint& target) {
    const HRESULT status = Open(target);
    return FAILED(status) ? status : Launch();
}

HRESULT CNetReceiver::Open(const Endpoint& target) {
    return guarded([&] {
        StopThread();
        const std::lock_guard hold(receiveLock_);
        lost_.reset();
        listener_.reset();
        listener_ = makers_.listener(target);
        silentMs_ = 0;
        expiries_ = 0;
        return S_OK;
    });
}

HRESULT CNetReceiver::Launch() {
    return guarded([this] {
        stopEvent_.reset();
        ended_.reset();
        auto thread = std::make_unique<Thread>([this] { ThreadBody(); }, quorvel::system::thread::v1::kStartSuspended);
        if (!thread->handle().setPriority(mcgate::platform::kPriorityHighest) || !thread->handle().resume()) {
            return HRESULT_FROM_WIN32(mcgate::platform::lastError());
        }
        workerThread_ = std::move(thread);
        return S_OK;
    });
}

void CNetReceiver::StopThread() {
    if (!workerThread_) return;
    stopEvent_.set();
    bool broken = false;
    std::uint32_t patience = breakWaitAfterMs_;
    while (!mcgate::platform::wait(ended_, patience)) {
        broken = pin_.BreakWait() || broken;
        patience = kLookAgainMs;  // it may have been on its way into the wait
    }
    breakWaitAfterMs_ = kBreakWaitAfterMs;
    workerThread_->Wait();
    workerThread_.reset();
    if (broken) pin_.MendAfterBreak();
}

void CNetReceiver::ThreadBody() {
    while (!mcgate::platform::wait(stopEvent_, 0)) {
        HRESULT status = S_OK;
        try {
            status = ReceiveTurn();
        } catch (...) {
            status = mcgate::foundation::statusOfCurrentException();
        }
        if (FAILED(status)) std::this_thread::sleep_for(kPauseAfterFailure);
    }
    ended_.set();
}

HRESULT CNetReceiver::ReceiveTurn() {
    Target target;
    const HRESULT obtained = obtainTarget(target);
    if (FAILED(obtained)) return obtained;
    const std::lock_guard hold(receiveLock_);
    if (!listener_) {
        if (lost_) repairListener();
        return E_UNEXPECTED;
    }
    if (listener_->WaitForData(kTurnMs * 1000)) {
        receiveInto(target);
    } else {
        onSilence();
    }
    return S_OK;
}

// Outside ReceiveLock: with a dry pool this waits, and the socket's buffer takes the load.
HRESULT CNetReceiver::obtainTarget(Target& target) {
    const HRESULT status = pin_.GetDeliveryBuffer(target.sample.put(), nullptr, nullptr, 0);
    if (status == E_NOINTERFACE || status == VFW_E_NOT_COMMITTED) {
        target.memory = scratch_.data();
        target.capacity = static_cast<std::uint32_t>(scratch_.size());
        return S_OK;
    }
    if (FAILED(status)) return status;
    const std::int32_t size = target.sample->GetSize();
    if (size < kSmallestSample) return VFW_E_BUFFER_OVERFLOW;
    target.capacity = static_cast<std::uint32_t>(size);
    return target.sample->GetPointer(&target.memory);
}

void CNetReceiver::receiveInto(Target& target) {
    const std::int32_t length = listener_->Receive(reinterpret_cast<char*>(target.memory), target.capacity);
    if (length <= 0) return;
    if (target.sample) {
        target.sample->SetActualDataLength(length);
        pin_.Deliver(target.sample.get());
    }
    if (watch_.present.load(std::memory_order_relaxed) == 0) watch_.tell(true);
    silentMs_ = 0;
    expiries_ = 0;
}

void CNetReceiver::onSilence() {
    silentMs_ += kTurnMs;
    announceGroup();  // a snooping switch may have forgotten us
    if (!hasExpired()) return;
    silentMs_ = 0;
    ++expiries_;
    if (expiries_ == 1) {
        rebuildListener();
    } else {
        watch_.tell(false);
    }
}

bool CNetReceiver::hasExpired() const noexcept {
    return silentMs_ > watch_.thresholdMs.load(std::memory_order_relaxed);
}

void CNetReceiver::announceGroup() {
    try {
        Endpoint target;
        listener_->GetEndpoint(target);
        if (target.tag() != Endpoint::kMulticast) return;
        const auto& group = target.multicast()->Group;
        if (group.family() != mcgate::platform::kFamilyIPv4) return;
        if (target.multicast()->Source.family() != mcgate::platform::kFamilyNone) return;
        rawSender_->SendMembershipReport(group.ipv4Word());
    } catch (...) {
        // Refused to an unprivileged process, or no route now: the join stands, and silence is still to be counted.
        return;
    }
}

void CNetReceiver::rebuildListener() {
    Endpoint target;
    listener_->GetEndpoint(target);
    listener_.reset();
    lost_ = std::move(target);
    lastSilenceTick_ = mcgate::platform::tickCount();
    openLost();
}

// Without a listener turns are as short as their pause, so silence is counted by the clock; an expiry counts at least a
// turn, as it does with a listener.
void CNetReceiver::repairListener() {
    const std::uint32_t now = mcgate::platform::tickCount();
    silentMs_ += static_cast<std::int32_t>(now - lastSilenceTick_);
    lastSilenceTick_ = now;
    if (now - lastAttemptTick_ >= kRetryMs) openLost();
    if (listener_ || silentMs_ < kTurnMs || !hasExpired()) return;
    silentMs_ = 0;
    if (++expiries_ > 1) watch_.tell(false);
}

void CNetReceiver::openLost() {
    lastAttemptTick_ = mcgate::platform::tickCount();
    try {
        listener_ = makers_.listener(*lost_);
        lost_.reset();
    } catch (...) {
        listener_.reset();  // the interface may be gone or the port taken; the next attempt is due in a second
    }
}
