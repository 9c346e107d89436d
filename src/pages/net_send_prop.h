#pragma once

#include "interfaces/i_sender_config.h"
#include "media/host/base_property_page.h"
#include "pages/resources.h"

/// The sender filter's page: its first two destinations. It keeps no settings of its own; button 1005 applies both
/// rows, at once and without a word about what is refused. The fields are loaded when the dialog opens and not again.
/// Threads: the dialog's alone; no lock.
class CNetSendProp final : public CBasePropertyPage {
public:
    /// A new page without a reference, or null and a failure in `*status`; nothing is thrown.
    static CNetSendProp* CreateInstance(IUnknown* outer, HRESULT* status) noexcept;

    /// For tests, with resources of theirs.
    explicit CNetSendProp(IUnknown* outer, const PageResources& resources = pageResources());

    HRESULT OnConnect(IUnknown* object) override;
    HRESULT OnDisconnect() override;
    HRESULT OnActivate() override;
    HRESULT OnDeactivate() override { return S_OK; }
    HRESULT OnApplyChanges() override;
    std::intptr_t OnReceiveMessage(IDialog* window, std::uint32_t message, std::uintptr_t first,
                                   std::intptr_t second) override;

    /// Reads destination `index` into the controls of its row; one that the filter doesn't have leaves them as they
    /// are.
    void LoadDestination(std::int32_t index, std::int32_t addressId, std::int32_t portId, std::int32_t comboId);
    /// Writes a row to the filter, unless its address or port field is empty or the address is no IPv4 address.
    void ApplyDestination(std::int32_t index, std::int32_t addressId, std::int32_t portId, std::int32_t comboId);

private:
    void applyBoth();

    mcgate::platform::ComPtr<IDialog> dialog_;
    mcgate::platform::ComPtr<ISenderConfig> config_;
};
