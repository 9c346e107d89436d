#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/host/base_object.h"
#include "media/host/interfaces.h"

namespace mcgate::host {

/// The clock of a graph without another: the monotonic clock.
class SystemClock final : public CUnknown, public IReferenceClock {
public:
    SystemClock() : CUnknown(nullptr) {}
    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;
    HRESULT GetTime(REFERENCE_TIME* time) override;
};

/// Holds filters, connects and runs them. Filters are added upstream first; state changes go to the last added first,
/// so that renderers are ready before data comes and let go of it before sources stop. Threads: one controls; Notify
/// and nextEvent from any. Notify only appends under a leaf lock.
class FilterGraph final : public CUnknown, public IFilterGraph, public IMediaEventSink {
public:
    struct Event {
        std::int32_t code;
        std::intptr_t p1;
        std::intptr_t p2;  ///< of EC_COMPLETE: the filter, not counted
    };

    /// Without a clock the graph runs by the monotonic one.
    static platform::ComPtr<FilterGraph> create(const platform::ComPtr<IReferenceClock>& clock = {});
    ~FilterGraph() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;
    HRESULT AddFilter(IBaseFilter* filter, const WCHAR* name) override;
    HRESULT RemoveFilter(IBaseFilter* filter) override;
    HRESULT Notify(std::int32_t code, std::intptr_t param1, std::intptr_t param2) override;

    HRESULT addFilter(IBaseFilter* filter, const std::string& name);
    HRESULT connect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type = nullptr);
    /// Every filter runs, or is paused, or the first failure is returned and all are stopped.
    HRESULT run();
    HRESULT pause();
    HRESULT stop();
    /// Stops, disconnects and lets all filters go; the destructor does it, too.
    void tearDown();
    std::optional<Event> nextEvent(std::chrono::milliseconds timeout);

private:
    explicit FilterGraph(const platform::ComPtr<IReferenceClock>& clock);
    template <class Change>
    HRESULT changeAll(Change&& change);

    const platform::ComPtr<IReferenceClock> clock_;
    std::vector<platform::ComPtr<IBaseFilter>> filters_;
    std::vector<platform::ComPtr<IPin>> connected_;
    std::mutex lock_;
    std::condition_variable arrived_;
    std::deque<Event> events_;
};

/// The filter's first pin of this direction; empty when it has none.
platform::ComPtr<IPin> findPin(IBaseFilter& filter, PIN_DIRECTION direction);

}  // namespace mcgate::host
