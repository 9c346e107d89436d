#pragma once

#include <cstdint>

#include "interfaces/i_data_source_listener.h"
#include "interfaces/i_logger.h"
#include "platform/text.h"
#include "platform/unknown.h"

/// Configuration of the receiver filter. Texts are numeric addresses, UTF-16; BSTRs are freed by the caller.
/// Threads: any, but one at a time for SetSource and GetSource.
struct ISourceConfig : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{CCC64346-1A12-43DC-9FBF-497E1BDA0614}");

    /// What to receive. `group` "0.0.0.0" or any spelling of "::" listens on `local`:`port` (local "0.0.0.0": all
    /// interfaces); any other group is joined on the interface that carries `local`, source-specific when `source` is
    /// not empty ("0.0.0.0" is not empty). A null text counts as empty; only the port's low 16 bits count. Takes effect
    /// at once when the filter is receiving, else at the next Pause out of stopped; it waits for its worker's turn:
    /// 100 ms, up to 450 ms when the sample pool is dry, and for as long as downstream blocks in a direct call. E_FAIL,
    /// and nothing changed, for a refused address or port 0.
    virtual HRESULT SetSource(std::int32_t port, const WCHAR* local, const WCHAR* group, const WCHAR* source) = 0;
    /// Gives back what SetSource took; absent addresses read "0.0.0.0", the interface of a link-local one as its index
    /// ("fe80::1%2"; RFC 4007, 11.2), which a saved and loaded configuration has lost. E_FAIL, outputs untouched, when
    /// not configured.
    virtual HRESULT GetSource(BSTR* group, std::uint32_t* port, BSTR* local, BSTR* source) = 0;
    /// One listener at a time; replaces any other. When it returns, the old one is not called again (a call in progress
    /// on another thread is waited for, at most 250 ms).
    virtual HRESULT SetDataSourceListener(IDataSourceListener* listener) = 0;
    /// Clears the listener, whichever is given; waits as SetDataSourceListener does.
    virtual HRESULT RemoveDataSourceListener(IDataSourceListener* listener) = 0;
    /// 1 while data is flowing, else 0.
    virtual HRESULT GetDataPresent(std::uint8_t* present) = 0;
    /// The time-out in milliseconds after which silence is reported; 5000 at first. Half of it passes before the group
    /// is joined anew. Not range-checked; a change acts at the next silent turn.
    virtual HRESULT GetTimeout(std::uint32_t* milliseconds) = 0;
    virtual HRESULT SetTimeout(std::int32_t milliseconds) = 0;
    /// Plugs in a log, not owned; null returns to the built-in one. Belongs before the graph runs, and has to
    /// outlive the filter. The receiver uses only its buffer notices.
    virtual HRESULT SetLogPerf(ILogPerf* log) = 0;

protected:
    ~ISourceConfig() = default;
};
