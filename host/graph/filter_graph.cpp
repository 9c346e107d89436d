#include "graph/filter_graph.h"

#include <algorithm>

#include "foundation/status.h"
#include "platform/clock.h"

namespace mcgate::host {

using platform::ComPtr;

HRESULT SystemClock::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IReferenceClock::iid) return GetInterface(static_cast<IReferenceClock*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT SystemClock::GetTime(REFERENCE_TIME* time) {
    if (time == nullptr) return E_POINTER;
    *time = platform::monotonicTime();
    return S_OK;
}

ComPtr<FilterGraph> FilterGraph::create(const ComPtr<IReferenceClock>& clock) {
    return ComPtr<FilterGraph>(new FilterGraph(clock ? clock : ComPtr<IReferenceClock>(new SystemClock())));
}

FilterGraph::FilterGraph(const ComPtr<IReferenceClock>& clock) : CUnknown(nullptr), clock_(clock) {}

FilterGraph::~FilterGraph() { tearDown(); }

HRESULT FilterGraph::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (id == IFilterGraph::iid) return GetInterface(static_cast<IFilterGraph*>(this), object);
    if (id == IMediaEventSink::iid) return GetInterface(static_cast<IMediaEventSink*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT FilterGraph::AddFilter(IBaseFilter* filter, const WCHAR* name) try {
    if (filter == nullptr) return E_POINTER;
    filters_.reserve(filters_.size() + 1);  // what may fail comes first
    const HRESULT joined = filter->JoinFilterGraph(this, name);
    if (FAILED(joined)) return joined;
    filters_.emplace_back(filter);
    return filter->SetSyncSource(clock_.get());
} catch (...) {
    return foundation::statusOfCurrentException();
}

HRESULT FilterGraph::addFilter(IBaseFilter* filter, const std::string& name) {
    return AddFilter(filter, platform::toWide(name).c_str());
}

HRESULT FilterGraph::RemoveFilter(IBaseFilter* filter) {
    if (filter == nullptr) return E_POINTER;
    const auto found = std::find(filters_.begin(), filters_.end(), ComPtr<IBaseFilter>(filter));
    if (found == filters_.end()) return VFW_E_NOT_FOUND;
    filter->SetSyncSource(nullptr);
    filter->JoinFilterGraph(nullptr, nullptr);
    filters_.erase(found);
    return S_OK;
}

HRESULT FilterGraph::Notify(std::int32_t code, std::intptr_t param1, std::intptr_t param2) try {
    const std::lock_guard hold(lock_);
    events_.push_back({code, param1, param2});
    arrived_.notify_all();
    return S_OK;
} catch (...) {
    return foundation::statusOfCurrentException();
}

HRESULT FilterGraph::connect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) {
    if (output == nullptr || input == nullptr) return E_POINTER;
    const HRESULT status = output->Connect(input, type);
    if (FAILED(status)) return status;
    connected_.emplace_back(output);
    connected_.emplace_back(input);
    return S_OK;
}

template <class Change>
HRESULT FilterGraph::changeAll(Change&& change) {
    for (auto filter = filters_.rbegin(); filter != filters_.rend(); ++filter) {
        const HRESULT status = change(**filter);
        if (FAILED(status)) {
            stop();
            return status;
        }
    }
    return S_OK;
}

HRESULT FilterGraph::run() {
    return changeAll([](IBaseFilter& filter) { return filter.Run(0); });
}

HRESULT FilterGraph::pause() {
    return changeAll([](IBaseFilter& filter) { return filter.Pause(); });
}

HRESULT FilterGraph::stop() {
    HRESULT first = S_OK;
    for (auto filter = filters_.rbegin(); filter != filters_.rend(); ++filter) {
        const HRESULT status = (*filter)->Stop();
        if (FAILED(status) && first == S_OK) first = status;
    }
    return first;
}

void FilterGraph::tearDown() {
    stop();
    for (const auto& pin : connected_) pin->Disconnect();
    connected_.clear();
    while (!filters_.empty()) RemoveFilter(ComPtr<IBaseFilter>(filters_.back()).get());
}

std::optional<FilterGraph::Event> FilterGraph::nextEvent(std::chrono::milliseconds timeout) {
    std::unique_lock hold(lock_);
    if (!arrived_.wait_for(hold, timeout, [this] { return !events_.empty(); })) return std::nullopt;
    const Event event = events_.front();
    events_.pop_front();
    return event;
}

ComPtr<IPin> findPin(IBaseFilter& filter, PIN_DIRECTION direction) {
    ComPtr<IEnumPins> pins;
    if (FAILED(filter.EnumPins(pins.put()))) return {};
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.put(), nullptr) == S_OK) {
        PIN_DIRECTION found = PINDIR_INPUT;
        if (SUCCEEDED(pin->QueryDirection(&found)) && found == direction) return pin;
    }
    return {};
}

}  // namespace mcgate::host
