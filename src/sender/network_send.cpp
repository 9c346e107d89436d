#include "sender/network_send.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <set>

#include "foundation/log_exception.h"
#include "foundation/status.h"
#include "media/host/create_instance.h"

using mcgate::foundation::statusOfCurrentException;
using mcgate::foundation::textOfCurrentException;
namespace udp = quorvel::network::udp::lib_udp::v2_1;

namespace {

constexpr std::uint32_t kPauseAfterFailureMs = 1;

void readDestinations(IStream& stream, std::vector<DestinationRecord>& list) {
    std::uint8_t count = 0;
    mcgate::media::readField(stream, {&count, 1});
    for (int i = 0; i < count; ++i) {
        udp::DestinationAddresses stored;
        mcgate::media::readField(stream, stored.Local.bytes);
        mcgate::media::readField(stream, stored.Remote.bytes);
        auto remote = udp::AddressToText(stored.Remote);
        list.push_back({udp::AddressToText(stored.Local).text, remote.port, std::move(remote.text)});
    }
}

}  // namespace

CNetworkSend* CNetworkSend::CreateInstance(IUnknown* outer, HRESULT* status) noexcept {
    return createInstance<CNetworkSend>(outer, status);
}

CNetworkSend::CNetworkSend(IUnknown* outer, HRESULT* status, NetSender::SenderMaker maker)
    : CBaseFilter(nullptr, outer, &filterLock_, CLSID_CNetworkSend) {
    // The send thread lives on members, so nothing may throw past it: the destructor ends it in every case.
    try {
        sendThread_.emplace([this] { sendLoop(); }, quorvel::system::thread::v1::kStartRunning);
        pin_ = std::make_unique<CInputPin>(this, &filterLock_, receiveLock_, state_, log_);
        netSender = std::make_unique<NetSender>(log_, std::move(maker));
        monitor_ = std::make_unique<mcgate::util::IpInterfaceMonitor>([this](std::uint32_t interfaceIndex, bool up) {
            mcgate::foundation::guarded([&] {
                return NotifyEvent(ISenderConfig::kInterfaceEvent, static_cast<std::intptr_t>(interfaceIndex),
                                   up ? 1 : 0);
            });
        });
    } catch (...) {
        *status = statusOfCurrentException();
    }
}

CNetworkSend::~CNetworkSend() {
    state_.stopEvent.set();
    if (sendThread_) sendThread_->Wait();
    monitor_.reset();
}

HRESULT CNetworkSend::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == ISpecifyPropertyPages::iid) return GetInterface(static_cast<ISpecifyPropertyPages*>(this), object);
    if (id == ISenderConfig::iid) return GetInterface(static_cast<ISenderConfig*>(this), object);
    if (id == IAMFilterMiscFlags::iid) return GetInterface(static_cast<IAMFilterMiscFlags*>(this), object);
    if (id == IPersistStream::iid) return GetInterface(static_cast<IPersistStream*>(this), object);
    if (id == IDelayCrossingPointFilter::iid)
        return GetInterface(static_cast<IDelayCrossingPointFilter*>(this), object);
    return CBaseFilter::NonDelegatingQueryInterface(id, object);
}

CBasePin* CNetworkSend::GetPin(int index) {
    const std::lock_guard hold(filterLock_);
    return index == 0 ? pin_.get() : nullptr;
}

HRESULT CNetworkSend::Pause() {
    const std::lock_guard hold(filterLock_);
    if (IsActive()) {
        setState(State_Paused);
        return S_OK;
    }
    try {
        openDestinations();
    } catch (...) {
        mcgate::foundation::logCurrentException(log_, "Unable to start net sender: ");
        return E_FAIL;
    }
    setState(State_Paused);
    if (pin_->IsConnected()) pin_->Active();
    return S_OK;
}

std::vector<udp::DestinationAddresses> CNetworkSend::destinationAddresses() {
    const std::lock_guard hold(filterLock_);
    std::vector<udp::DestinationAddresses> addresses;
    addresses.reserve(destinations_.size());
    for (const auto& entry : destinations_) {
        addresses.push_back(udp::MakeDestinationAddresses(entry.Local, entry.Port, entry.Remote));
    }
    return addresses;
}

void CNetworkSend::openDestinations() {
    const auto addresses = destinationAddresses();
    std::set<std::string> locals;
    for (const auto& entry : destinations_) locals.insert(entry.Local);
    monitor_->WatchAddresses(locals);
    netSender->setDestinations(addresses);
}

HRESULT CNetworkSend::Stop() {
    const std::lock_guard receive(receiveLock_);
    const std::lock_guard filter(filterLock_);
    pin_->Inactive();
    netSender->clear();
    setState(State_Stopped);
    return S_OK;
}

HRESULT CNetworkSend::SetLogPerf(ILogPerf* log) {
    log_.plug(log);
    return S_OK;
}

HRESULT CNetworkSend::AddDestination(const WCHAR* remote, std::uint32_t port, const WCHAR* local, std::int32_t* index) {
    if (index == nullptr) return E_POINTER;
    *index = -1;
    if (remote == nullptr || local == nullptr) return E_POINTER;
    const std::lock_guard hold(filterLock_);
    try {
        DestinationRecord entry{mcgate::platform::toNarrow(local), static_cast<std::uint16_t>(port),
                                mcgate::platform::toNarrow(remote)};
        udp::MakeDestinationAddresses(entry.Local, entry.Port, entry.Remote);
        destinations_.push_back(std::move(entry));
        *index = static_cast<std::int32_t>(destinations_.size()) - 1;
        return S_OK;
    } catch (...) {
        *index = -1;
        refuse();
        return E_FAIL;
    }
}

// In a handler. What the telling throws is dropped: the status tells enough.
void CNetworkSend::refuse() noexcept {
    try {
        log_.Log(1, "Invalid dest address: %s", textOfCurrentException().c_str());
    } catch (...) {
        return;
    }
}

HRESULT CNetworkSend::RemoveDestination(std::int32_t index) {
    const std::lock_guard hold(filterLock_);
    if (destinations_.size() == 1 || !isEntry(index)) return S_FALSE;
    destinations_.erase(destinations_.begin() + index);
    return S_OK;
}

HRESULT CNetworkSend::SetDestination(std::int32_t index, const WCHAR* remote, std::uint32_t port, const WCHAR* local) {
    if (index < 0) return E_INVALIDARG;
    if (remote == nullptr || local == nullptr) return E_POINTER;
    const std::lock_guard hold(filterLock_);
    if (!isEntry(index)) {
        std::int32_t added = -1;
        return AddDestination(remote, port, local, &added);
    }
    try {
        DestinationRecord entry{mcgate::platform::toNarrow(local), static_cast<std::uint16_t>(port),
                                mcgate::platform::toNarrow(remote)};
        destinations_[static_cast<std::size_t>(index)] = std::move(entry);
        return S_OK;
    } catch (...) {
        return statusOfCurrentException();
    }
}

HRESULT CNetworkSend::GetDestination(std::int32_t index, BSTR* remote, std::uint32_t* port, BSTR* local) {
    if (remote == nullptr || port == nullptr || local == nullptr) return E_POINTER;
    const std::lock_guard hold(filterLock_);
    if (!isEntry(index)) return S_FALSE;
    try {
        const auto& entry = destinations_[static_cast<std::size_t>(index)];
        const auto wideRemote = mcgate::platform::toWide(entry.Remote);
        const auto wideLocal = mcgate::platform::toWide(entry.Local);
        BSTR const remoteText = SysAllocString(wideRemote.c_str());
        BSTR const localText = SysAllocString(wideLocal.c_str());
        if (remoteText == nullptr || localText == nullptr) {
            SysFreeString(remoteText);
            SysFreeString(localText);
            return E_OUTOFMEMORY;
        }
        *remote = remoteText;
        *port = entry.Port;
        *local = localText;
        return S_OK;
    } catch (...) {
        return statusOfCurrentException();
    }
}

bool CNetworkSend::isEntry(std::int32_t index) const noexcept {
    return index >= 0 && static_cast<std::size_t>(index) < destinations_.size();
}

HRESULT CNetworkSend::SetTimeOffset(std::int64_t milliseconds) {
    // Wraps like the 64-bit product it is, rather than overflow.
    const auto ticks = static_cast<std::uint64_t>(milliseconds) * static_cast<std::uint64_t>(kTicksPerMillisecond);
    state_.timeOffset.store(static_cast<std::int64_t>(ticks), std::memory_order_relaxed);
    return S_OK;
}

HRESULT CNetworkSend::EnablePacing(std::int32_t enable) {
    state_.pacingEnabled.store(enable == 1, std::memory_order_relaxed);
    return S_OK;
}

HRESULT CNetworkSend::WriteToStream(IStream* stream) {
    if (stream == nullptr) return E_POINTER;
    try {
        const auto addresses = destinationAddresses();
        const auto count = static_cast<std::uint8_t>(addresses.size());
        mcgate::media::writeField(*stream, {&count, 1});
        for (const auto& destination : addresses) {
            mcgate::media::writeField(*stream, destination.Local.bytes);
            mcgate::media::writeField(*stream, destination.Remote.bytes);
        }
        return S_OK;
    } catch (...) {
        return statusOfCurrentException();
    }
}

HRESULT CNetworkSend::ReadFromStream(IStream* stream) {
    if (stream == nullptr) return E_POINTER;
    std::vector<DestinationRecord> loaded;
    HRESULT status = S_OK;
    try {
        readDestinations(*stream, loaded);
    } catch (...) {
        status = statusOfCurrentException();
    }
    const std::lock_guard hold(filterLock_);
    destinations_.swap(loaded);
    return status;
}

HRESULT CNetworkSend::GetPages(CAUUID* pages) {
    if (pages == nullptr) return E_POINTER;
    pages->cElems = 0;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
    if (pages->pElems == nullptr) return E_OUTOFMEMORY;
    new (pages->pElems) GUID(CLSID_CNetSendProp);
    pages->cElems = 1;
    return S_OK;
}

// The slot orders itself; waiting for a call in progress under the filter's lock could hold up what that call waits
// for.
HRESULT CNetworkSend::SetInputCrossingCallback(IDelayCrossingCallback* callback) {
    state_.inputCrossingCallback.set(callback);
    return S_OK;
}

HRESULT CNetworkSend::SetOutputCrossingCallback(IDelayCrossingCallback* callback) {
    state_.outputCrossingCallback.set(callback);
    return S_OK;
}

void CNetworkSend::sendLoop() {
    mcgate::platform::setCurrentThreadPriority(mcgate::platform::kPriorityTimeCritical);
    try {
        SendLoop loop(state_, SendLoopEnvironment{
                                  [] { return mcgate::platform::millisecondClock() / 1000.0; },
                                  [this] { return referenceClock(); },
                                  [] { return mcgate::platform::tickCount(); },
                                  [this](std::uint32_t ms) { return mcgate::platform::wait(state_.stopEvent, ms); },
                                  [this]() -> NetSender& { return *netSender; },
                                  log_,
                              });
        while (turnSurvives(loop)) {
        }
    } catch (...) {
        mcgate::foundation::logCurrentException(log_);
    }
}

// A turn that throws, for want of memory or by a log that does, is over; the loop is not.
bool CNetworkSend::turnSurvives(SendLoop& loop) noexcept {
    try {
        return loop.turn();
    } catch (...) {
        mcgate::foundation::logCurrentException(log_);
        return !mcgate::platform::wait(state_.stopEvent, kPauseAfterFailureMs);
    }
}
