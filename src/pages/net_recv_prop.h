#pragma once

#include <string>

#include "interfaces/i_source_config.h"
#include "media/host/base_property_page.h"
#include "pages/resources.h"

/// The receiver filter's page: what it listens to, its time-out, and whether data is arriving. It keeps no settings of
/// its own; button 1005 applies what stands in the fields, at once and without a word about what the filter refuses.
///
/// Threads: the dialog's thread in everything but OnDataPresenceChanged, which the receiver's worker calls with its own
/// lock held. That call reloads all fields from the filter, and with them what a user is typing.
/// Locks: gate_ guards `dialog_` and `config_` and is held through Refresh, in which nothing waits but for leaf locks
/// (the filter's source, the dialog's controls). The dialog's thread takes it elsewhere only to put these two in or
/// take them out and to copy the fields, never while it calls SetSource or removes the listener, both of which may wait
/// for the worker; so neither thread waits for the other. The filter is released on the dialog's thread, as the worker
/// must not be the one that destroys its filter. Life: while connected, the page is the filter's one listener, and the
/// filter doesn't count it. Disconnecting waits for a call in progress, and so does the destructor, which also
/// disconnects. A worker that was about to call and got no processor for the 250 ms that removing a listener lasts at
/// most is the one thing not waited for.
class CNetRecvProp final : public CBasePropertyPage, public IDataSourceListener {
public:
    /// A new page without a reference, or null and a failure in `*status`; nothing is thrown.
    static CNetRecvProp* CreateInstance(IUnknown* outer, HRESULT* status) noexcept;

    /// For tests, with resources of theirs.
    explicit CNetRecvProp(IUnknown* outer, const PageResources& resources = pageResources());
    ~CNetRecvProp() override;

    HRESULT OnConnect(IUnknown* object) override;
    HRESULT OnDisconnect() override;
    HRESULT OnActivate() override;
    HRESULT OnDeactivate() override { return S_OK; }
    HRESULT OnApplyChanges() override;
    std::intptr_t OnReceiveMessage(IDialog* window, std::uint32_t message, std::uintptr_t first,
                                   std::intptr_t second) override;

    void OnDataPresenceChanged(bool present) override;
    void OnReserved() override {}

    /// Reads everything from the filter into the controls, if the dialog is open.
    void Refresh();
    /// The part of it that an unconfigured filter leaves as it is.
    void LoadSource();
    /// Writes what stands in the fields to the filter: address, port, interface and source, unless the address or port
    /// field is empty or the address is no IPv4 address; then the time-out in any case.
    void ApplyChanges();

private:
    /// What stood in the fields at one moment, and the filter that it is for: null when none is connected or no dialog
    /// is open.
    struct Entries {
        mcgate::platform::ComPtr<ISourceConfig> config;
        std::string group;
        std::string local;
        std::string source;
        bool hasPort = false;
        std::int32_t port = 0;
        std::int32_t timeoutMs = 0;
    };

    mcgate::platform::ComPtr<IDialog> dialog();
    Entries entries();
    static void ApplySource(const Entries& entries);
    void setDialog(IDialog* window);
    void showDataState();
    void showTimeout();

    CCritSec gate_;
    mcgate::platform::ComPtr<IDialog> dialog_;
    mcgate::platform::ComPtr<ISourceConfig> config_;
};
