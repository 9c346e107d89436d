#include "media/host/base_filter.h"

#include <algorithm>
#include <new>

#include "foundation/status.h"
#include "media/host/base_pin.h"
#include "media/host/enumerators.h"

using mcgate::platform::ComPtr;

namespace {

/// Calls `call(pin)` for each connected pin until one fails, and gives that failure.
template <class Call>
HRESULT forEachConnectedPin(CBaseFilter& filter, Call&& call) {
    const int count = filter.GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* const pin = filter.GetPin(i);
        if (pin == nullptr || !pin->IsConnected()) continue;
        const HRESULT status = call(*pin);
        if (FAILED(status)) return status;
    }
    return S_OK;
}

}  // namespace

CBaseFilter::CBaseFilter(const char* name, IUnknown* outer, CCritSec* lock, const GUID& classId)
    : CUnknown(outer),
      lock_(lock),
      classId_(classId),
      name_(name != nullptr ? mcgate::platform::toWide(name) : std::u16string()) {}

CBaseFilter::~CBaseFilter() = default;

HRESULT CBaseFilter::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IBaseFilter::iid || id == IMediaFilter::iid || id == IPersist::iid) {
        return GetInterface(static_cast<IBaseFilter*>(this), object);
    }
    if (id == IAMovieSetup::iid) return GetInterface(static_cast<IAMovieSetup*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CBaseFilter::GetClassID(GUID* id) {
    if (id == nullptr) return E_POINTER;
    *id = classId_;
    return S_OK;
}

HRESULT CBaseFilter::GetState(std::uint32_t, FILTER_STATE* current) {
    if (current == nullptr) return E_POINTER;
    *current = state();
    return S_OK;
}

HRESULT CBaseFilter::SetSyncSource(IReferenceClock* clock) {
    ComPtr<IReferenceClock> other(clock);
    const std::lock_guard hold(*lock_);
    std::swap(clock_, other);
    return S_OK;
}

HRESULT CBaseFilter::GetSyncSource(IReferenceClock** clock) {
    if (clock == nullptr) return E_POINTER;
    *clock = referenceClock().detach();
    return S_OK;
}

ComPtr<IReferenceClock> CBaseFilter::referenceClock() {
    const std::lock_guard hold(*lock_);
    return clock_;
}

HRESULT CBaseFilter::Stop() {
    const std::lock_guard hold(*lock_);
    HRESULT first = S_OK;
    if (!IsStopped()) {
        // Every pin goes inactive, whatever another one said.
        forEachConnectedPin(*this, [&first](CBasePin& pin) {
            const HRESULT status = pin.Inactive();
            if (FAILED(status) && SUCCEEDED(first)) first = status;
            return S_OK;
        });
    }
    setState(State_Stopped);
    return first;
}

HRESULT CBaseFilter::Pause() {
    const std::lock_guard hold(*lock_);
    if (IsStopped()) {
        const HRESULT status = forEachConnectedPin(*this, [](CBasePin& pin) { return pin.Active(); });
        if (FAILED(status)) return status;
    }
    setState(State_Paused);
    return S_OK;
}

HRESULT CBaseFilter::Run(REFERENCE_TIME start) {
    if (IsStopped()) {
        // Without the lock: a derived Pause may have to let go of it, which a lock taken twice would not do.
        const HRESULT status = Pause();
        if (FAILED(status)) return status;
    }
    const std::lock_guard hold(*lock_);
    if (IsStopped()) return VFW_E_WRONG_STATE;  // a Stop came in between, and its pins are inactive again
    startTime_ = start;
    if (state() != State_Running) {
        const HRESULT status = forEachConnectedPin(*this, [start](CBasePin& pin) { return pin.Run(start); });
        if (FAILED(status)) return status;
    }
    setState(State_Running);
    return S_OK;
}

HRESULT CBaseFilter::EnumPins(IEnumPins** pins) {
    if (pins == nullptr) return E_POINTER;
    *pins = nullptr;
    auto* const made = new (std::nothrow) CEnumPins(this, 0, GetPinVersion());
    return made != nullptr ? GetInterface(static_cast<IEnumPins*>(made), reinterpret_cast<void**>(pins))
                           : E_OUTOFMEMORY;
}

HRESULT CBaseFilter::FindPin(const WCHAR* id, IPin** pin) {
    if (pin == nullptr || id == nullptr) return E_POINTER;
    *pin = nullptr;
    const std::lock_guard hold(*lock_);
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* const candidate = GetPin(i);
        if (candidate == nullptr || std::u16string_view(candidate->Name()) != id) continue;
        candidate->AddRef();
        *pin = candidate;
        return S_OK;
    }
    return VFW_E_NOT_FOUND;
}

HRESULT CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
    if (info == nullptr) return E_POINTER;
    *info = {};
    const std::lock_guard hold(*lock_);
    name_.copy(info->achName, std::size(info->achName) - 1);
    info->pGraph = graph_;
    if (graph_ != nullptr) graph_->AddRef();
    return S_OK;
}

HRESULT CBaseFilter::JoinFilterGraph(IFilterGraph* graph, const WCHAR* name) try {
    std::u16string newName(name != nullptr ? name : u"");
    const ComPtr<IMediaEventSink> sink = ComPtr<IFilterGraph>(graph).query<IMediaEventSink>();
    {
        const std::lock_guard holdSink(sinkLock_);  // waits for a Notify in progress, so without the filter's lock
        sink_ = sink.get();
    }
    const std::lock_guard hold(*lock_);
    graph_ = graph;
    name_.swap(newName);
    return S_OK;
} catch (...) {
    return mcgate::foundation::statusOfCurrentException();
}

HRESULT CBaseFilter::QueryVendorInfo(BSTR* info) {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    return E_NOTIMPL;
}

HRESULT CBaseFilter::Register() {
    const AMOVIESETUP_FILTER* const setup = GetSetupData();
    if (setup == nullptr) return S_FALSE;
    setUpWithOlderMapper(*setup, SetUp::Register);  // its result is nobody's business here
    return S_OK;
}

HRESULT CBaseFilter::Unregister() {
    const AMOVIESETUP_FILTER* const setup = GetSetupData();
    return setup != nullptr ? setUpWithOlderMapper(*setup, SetUp::Unregister) : S_FALSE;
}

HRESULT CBaseFilter::NotifyEvent(std::int32_t code, std::intptr_t param1, std::intptr_t param2) {
    if (code == EC_COMPLETE) param2 = reinterpret_cast<std::intptr_t>(static_cast<IBaseFilter*>(this));
    const std::lock_guard hold(sinkLock_);
    return sink_ != nullptr ? sink_->Notify(code, param1, param2) : E_NOTIMPL;
}
