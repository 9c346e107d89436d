#include "receiver/network_receiver_filter.h"

#include <array>
#include <bit>
#include <new>
#include <span>

#include "foundation/status.h"
#include "media/host/create_instance.h"
#include "platform/clock.h"

using mcgate::foundation::statusOfCurrentException;
namespace udp = quorvel::network::udp::lib_udp::v2_1;

namespace {

bool isConfigured(const udp::Endpoint& source) {
    return udp::EndpointPort(source) != 0 && udp::EndpointFamily(source) != mcgate::platform::kFamilyNone;
}

// The patience that is left for a worker that waits for a sample, after the time spent waiting for ConfigLock: a caller
// waits once for a dry pool, not once for each call ahead of it.
std::uint32_t patienceSince(std::uint32_t asked) {
    const std::uint32_t waited = mcgate::platform::tickCount() - asked;
    return waited < CNetReceiver::kBreakWaitAfterMs ? CNetReceiver::kBreakWaitAfterMs - waited : 0;
}

// An absent address reads as the IPv4 any address. An address of one link names that by its index, so that SetSource
// takes the text for the same address again.
std::u16string addressText(const udp::SocketAddress& address) {
    const auto text = udp::AddressToText(address).text;
    const std::string link = address.scope() != 0 ? '%' + std::to_string(address.scope()) : "";
    return mcgate::platform::toWide(text.empty() ? "0.0.0.0" : text + link);
}

// A unicast or unconfigured filter writes a group without a family, and is to come back as what it was. A stream that
// ends early configures nothing, rather than another address that its beginning happens to spell.
udp::Endpoint readEndpoint(IStream& stream) {
    udp::SocketAddress local;
    std::array<std::uint8_t, 2> port{};
    udp::SocketAddress group;
    udp::SocketAddress source;
    bool whole = true;
    for (const std::span<std::uint8_t> field :
         {std::span<std::uint8_t>(local.bytes), std::span<std::uint8_t>(port), std::span<std::uint8_t>(group.bytes),
          std::span<std::uint8_t>(source.bytes)}) {
        whole = mcgate::media::readField(stream, field) && whole;
    }
    if (!whole) return {};
    const bool unicast = group.family() == mcgate::platform::kFamilyNone;
    return udp::MakeEndpoint(udp::AddressToText(local).text, static_cast<std::uint32_t>(port[0] << 8 | port[1]),
                             unicast ? "0.0.0.0" : udp::AddressToText(group).text, udp::AddressToText(source).text);
}

}  // namespace

CNetworkReceiverFilter* CNetworkReceiverFilter::CreateInstance(IUnknown* outer, HRESULT* status) noexcept {
    return createInstance<CNetworkReceiverFilter>(outer, status);
}

CNetworkReceiverFilter::CNetworkReceiverFilter(IUnknown* outer, CNetReceiver::Makers makers)
    : CBaseFilter(nullptr, outer, &filterLock_, CLSID_CNetworkReceiverFilter), makers_(std::move(makers)) {
    pin_ = std::make_unique<CNetOutputPin>(this, &filterLock_, [this]() -> ILogPerf& { return *log_.load(); });
}

// The worker goes first: it uses the pin, the data state and the log.
CNetworkReceiverFilter::~CNetworkReceiverFilter() { worker_.reset(); }

HRESULT CNetworkReceiverFilter::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == ISourceConfig::iid) return GetInterface(static_cast<ISourceConfig*>(this), object);
    if (id == IAMFilterMiscFlags::iid) return GetInterface(static_cast<IAMFilterMiscFlags*>(this), object);
    if (id == ISpecifyPropertyPages::iid) return GetInterface(static_cast<ISpecifyPropertyPages*>(this), object);
    if (id == IPersistStream::iid) return GetInterface(static_cast<IPersistStream*>(this), object);
    return CBaseFilter::NonDelegatingQueryInterface(id, object);
}

CBasePin* CNetworkReceiverFilter::GetPin(int index) {
    const std::lock_guard hold(filterLock_);
    return index == 0 ? pin_.get() : nullptr;
}

HRESULT CNetworkReceiverFilter::Pause() {
    const std::uint32_t asked = mcgate::platform::tickCount();
    const std::lock_guard config(configLock_);
    try {
        std::unique_ptr<CNetReceiver> old;
        {
            const std::lock_guard hold(filterLock_);
            old = std::move(worker_);
        }
        if (old) old->setBreakWaitAfter(patienceSince(asked));
        old.reset();  // waits for its thread, which may need the filter's lock to finish its turn
        const HRESULT status = pauseActive();
        return status == S_FALSE ? pauseOutOfStopped() : status;
    } catch (...) {
        return statusOfCurrentException();
    }
}

// S_FALSE when the filter is stopped, perhaps only since the worker was waited for.
HRESULT CNetworkReceiverFilter::pauseActive() {
    const std::lock_guard hold(filterLock_);
    return IsStopped() ? S_FALSE : basePause();
}

HRESULT CNetworkReceiverFilter::basePause() {
    const HRESULT status = CBaseFilter::Pause();
    return FAILED(status) ? status : S_OK;
}

// Nobody but this thread can leave the stopped state meanwhile, as that takes configLock_. The worker starts with the
// filter's lock held, so that its first turn finds the pin active.
HRESULT CNetworkReceiverFilter::pauseOutOfStopped() {
    auto fresh = std::make_unique<CNetReceiver>(*pin_, watch_, makers_);
    CNetReceiver& worker = *fresh;
    {
        const std::lock_guard hold(filterLock_);
        worker_ = std::move(fresh);
    }
    const Endpoint target = source();
    const bool configured = isConfigured(target);
    if (configured) {
        watch_.present.store(0);
        const HRESULT opened = worker.Open(target);
        if (FAILED(opened)) return opened;
    }
    const std::lock_guard hold(filterLock_);
    if (configured) {
        const HRESULT launched = worker.Launch();
        if (FAILED(launched)) return launched;
    }
    return basePause();
}

HRESULT CNetworkReceiverFilter::Stop() {
    const std::lock_guard hold(filterLock_);
    HRESULT status = S_OK;
    try {
        if (IsActive() && pin_->IsConnected()) pin_->DeliverEndOfStream();
    } catch (...) {
        status = statusOfCurrentException();  // the filter stops all the same
    }
    pin_->Inactive();
    setState(State_Stopped);
    watch_.present.store(0);
    return status;
}

CNetworkReceiverFilter::Endpoint CNetworkReceiverFilter::source() const {
    const std::lock_guard hold(sourceLock_);
    return source_;
}

bool CNetworkReceiverFilter::swapIfDifferent(Endpoint& fresh) {
    const std::lock_guard hold(sourceLock_);
    if (source_ == fresh) return false;
    source_.swap(fresh);
    return true;
}

HRESULT CNetworkReceiverFilter::SetSource(std::int32_t port, const WCHAR* local, const WCHAR* group,
                                          const WCHAR* source) {
    try {
        const Endpoint target =
            udp::MakeEndpoint(mcgate::platform::toNarrow(local), static_cast<std::uint32_t>(port),
                              mcgate::platform::toNarrow(group), mcgate::platform::toNarrow(source));
        if (!isConfigured(target)) return E_FAIL;
        const std::uint32_t asked = mcgate::platform::tickCount();
        const std::lock_guard config(configLock_);
        Endpoint fresh = target;
        if (!swapIfDifferent(fresh)) return S_OK;
        if (!worker_) return S_OK;
        worker_->setBreakWaitAfter(patienceSince(asked));
        worker_->Start(target);  // a listener that can't be opened leaves the worker without a thread
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT CNetworkReceiverFilter::GetSource(BSTR* group, std::uint32_t* port, BSTR* local, BSTR* source) {
    if (group == nullptr || port == nullptr || local == nullptr || source == nullptr) return E_POINTER;
    try {
        const Endpoint present = this->source();
        if (!isConfigured(present)) return E_FAIL;
        const auto localText = addressText(udp::EndpointLocal(present));
        const auto groupText = addressText(udp::EndpointGroup(present));
        const auto sourceText = addressText(udp::EndpointSource(present));
        *local = SysAllocString(localText.c_str());
        *port = udp::EndpointLocal(present).port();
        *group = SysAllocString(groupText.c_str());
        *source = SysAllocString(sourceText.c_str());
        return S_OK;
    } catch (...) {
        return statusOfCurrentException();
    }
}

HRESULT CNetworkReceiverFilter::SetDataSourceListener(IDataSourceListener* listener) {
    watch_.listener.set(listener);
    return S_OK;
}

HRESULT CNetworkReceiverFilter::RemoveDataSourceListener(IDataSourceListener*) {
    return SetDataSourceListener(nullptr);
}

HRESULT CNetworkReceiverFilter::GetDataPresent(std::uint8_t* present) {
    if (present == nullptr) return E_POINTER;
    *present = watch_.present.load(std::memory_order_relaxed);
    return S_OK;
}

HRESULT CNetworkReceiverFilter::GetTimeout(std::uint32_t* milliseconds) {
    if (milliseconds == nullptr) return E_POINTER;
    *milliseconds = static_cast<std::uint32_t>(timeoutMs_.load());
    return S_OK;
}

HRESULT CNetworkReceiverFilter::SetTimeout(std::int32_t milliseconds) {
    timeoutMs_.store(milliseconds);
    watch_.thresholdMs.store(milliseconds / 2, std::memory_order_relaxed);
    return S_OK;
}

HRESULT CNetworkReceiverFilter::SetLogPerf(ILogPerf* log) {
    log_.store(log != nullptr ? log : &ownLog_);
    return S_OK;
}

HRESULT CNetworkReceiverFilter::GetPages(CAUUID* pages) {
    if (pages == nullptr) return E_POINTER;
    pages->cElems = 0;
    pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(2 * sizeof(GUID)));
    if (pages->pElems == nullptr) return E_OUTOFMEMORY;
    new (&pages->pElems[0]) GUID(CLSID_CNetRecvProp);
    new (&pages->pElems[1]) GUID(CLSID_NetRecvSecondPage);
    pages->cElems = 2;
    return S_OK;
}

HRESULT CNetworkReceiverFilter::WriteToStream(IStream* stream) {
    if (stream == nullptr) return E_POINTER;
    try {
        const Endpoint present = source();
        mcgate::media::writeField(*stream, udp::EndpointLocal(present).bytes);
        mcgate::media::writeField(*stream, std::bit_cast<std::array<std::uint8_t, 2>>(udp::EndpointPort(present)));
        mcgate::media::writeField(*stream, udp::EndpointGroup(present).bytes);
        mcgate::media::writeField(*stream, udp::EndpointSource(present).bytes);
        return S_OK;
    } catch (...) {
        return statusOfCurrentException();
    }
}

HRESULT CNetworkReceiverFilter::ReadFromStream(IStream* stream) {
    if (stream == nullptr) return E_POINTER;
    try {
        Endpoint loaded = readEndpoint(*stream);
        const std::lock_guard hold(sourceLock_);
        source_.swap(loaded);
        return S_OK;
    } catch (...) {
        return statusOfCurrentException();
    }
}
