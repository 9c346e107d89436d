#pragma once

#include <cstdint>

#include "interfaces/i_logger.h"
#include "platform/text.h"
#include "platform/unknown.h"

/// Configuration of the sender filter: destinations and pacing. Texts are numeric addresses, UTF-16, never null; BSTRs
/// are freed by the caller. Ports in host byte order, low 16 bits. Threads: any.
struct ISenderConfig : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{20587B2B-8B71-4384-B265-233D646816FB}");

    /// The event by which the filter tells its graph that an interface with a destination's local address went up or
    /// down: the interface's index; 1 for up, 0 for down. It comes at each start, too, and may repeat itself.
    static constexpr std::int32_t kInterfaceEvent = 0x806B;

    /// Plugs in a log, not owned; null returns to the built-in one. Belongs before the graph runs,
    /// and has to outlive the filter.
    virtual HRESULT SetLogPerf(ILogPerf* log) = 0;
    /// Adds a destination: unicast or multicast `remote`, sent from `local`. S_OK and the new index, or E_FAIL and -1
    /// for a refused address. The list is read at the next Pause out of stopped.
    virtual HRESULT AddDestination(const WCHAR* remote, std::uint32_t port, const WCHAR* local,
                                   std::int32_t* index) = 0;
    /// S_FALSE when nothing was removed: no such index, or the only destination.
    virtual HRESULT RemoveDestination(std::int32_t index) = 0;
    /// Replaces a destination without looking at the texts, or adds one when `index` is past the end. E_INVALIDARG for
    /// a negative index.
    virtual HRESULT SetDestination(std::int32_t index, const WCHAR* remote, std::uint32_t port, const WCHAR* local) = 0;
    /// S_FALSE, outputs untouched, when there is no such index.
    virtual HRESULT GetDestination(std::int32_t index, BSTR* remote, std::uint32_t* port, BSTR* local) = 0;
    /// Configured hold-back in milliseconds, 0 at first; negative shortens. Acts from the next sample on.
    virtual HRESULT SetTimeOffset(std::int64_t milliseconds) = 0;
    /// 1 keeps the spacing of time stamps (the default); every other value sends samples as they come.
    virtual HRESULT EnablePacing(std::int32_t enable) = 0;

protected:
    ~ISenderConfig() = default;
};
