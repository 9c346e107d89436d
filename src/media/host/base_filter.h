#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "media/host/base_object.h"
#include "media/host/filter_setup.h"
#include "media/host/interfaces.h"

class CBasePin;

/// State, clock, pins and graph membership of a filter.
/// Threads: graph threads, and the filter's own for NotifyEvent and reading the clock. The lock given at construction
/// guards everything here; it is not taken by the destructor. Filters are not released for the last time on their own
/// threads.
class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
public:
    /// `name` serves until a graph gives another, and may be null; `lock` outlives the filter.
    CBaseFilter(const char* name, IUnknown* outer, CCritSec* lock, const GUID& classId);
    ~CBaseFilter() override;

    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;

    HRESULT GetClassID(GUID* id) override;
    HRESULT GetState(std::uint32_t timeoutMs, FILTER_STATE* state) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT GetSyncSource(IReferenceClock** clock) override;
    /// Calls Inactive on each connected pin if not stopped; the first failure is returned, the state is stopped anyway.
    HRESULT Stop() override;
    /// Out of stopped calls Active on each connected pin; the first failure is returned and the state stays.
    HRESULT Pause() override;
    /// Out of stopped goes through the virtual Pause, which is called without the filter's lock; then calls Run on each
    /// connected pin.
    HRESULT Run(REFERENCE_TIME start) override;
    HRESULT EnumPins(IEnumPins** pins) override;
    HRESULT FindPin(const WCHAR* id, IPin** pin) override;
    HRESULT QueryFilterInfo(FILTER_INFO* info) override;
    HRESULT JoinFilterGraph(IFilterGraph* graph, const WCHAR* name) override;
    HRESULT QueryVendorInfo(BSTR* info) override;
    HRESULT Register() override;
    HRESULT Unregister() override;

    /// The pins; not counted for the caller. Null past the last.
    virtual int GetPinCount() = 0;
    virtual CBasePin* GetPin(int index) = 0;
    /// The registration record, or null.
    virtual const AMOVIESETUP_FILTER* GetSetupData() { return nullptr; }

    /// To the graph's event sink; E_NOTIMPL without one. For EC_COMPLETE the second parameter is this filter's
    /// IBaseFilter. Any thread; takes only the leaf lock around the sink pointer.
    HRESULT NotifyEvent(std::int32_t code, std::intptr_t param1, std::intptr_t param2);
    IFilterGraph* GetFilterGraph() const noexcept { return graph_; }

    FILTER_STATE state() const noexcept { return state_.load(std::memory_order_relaxed); }
    bool IsStopped() const noexcept { return state() == State_Stopped; }
    bool IsActive() const noexcept { return !IsStopped(); }
    CCritSec* lock() const noexcept { return lock_; }

    /// Pin enumerators made before the change are out of sync after it.
    std::int32_t GetPinVersion() const noexcept { return pinVersion_.load(); }
    void IncrementPinVersion() noexcept { ++pinVersion_; }

protected:
    void setState(FILTER_STATE state) noexcept { state_.store(state, std::memory_order_relaxed); }
    /// The reference clock with a reference, or empty; takes the filter's lock.
    mcgate::platform::ComPtr<IReferenceClock> referenceClock();

    REFERENCE_TIME startTime_ = 0;  ///< what Run was given

private:
    CCritSec* const lock_;
    const GUID classId_;
    std::atomic<FILTER_STATE> state_{State_Stopped};
    mcgate::platform::ComPtr<IReferenceClock> clock_;
    IFilterGraph* graph_ = nullptr;    ///< not counted
    IMediaEventSink* sink_ = nullptr;  ///< of graph_, not counted; guarded by sinkLock_
    std::mutex sinkLock_;              ///< leaf: held while the sink appends
    std::u16string name_;
    std::atomic<std::int32_t> pinVersion_{1};
};
