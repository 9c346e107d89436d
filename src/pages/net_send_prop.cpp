#include "pages/net_send_prop.h"

#include "media/host/create_instance.h"
#include "pages/edit_control.h"
#include "pages/interface_combo.h"
#include "pages/page_fields.h"
#include "util/interface_list.h"

using mcgate::platform::BstrPtr;
using mcgate::platform::toWide;
using namespace page_ids;

CNetSendProp* CNetSendProp::CreateInstance(IUnknown* outer, HRESULT* status) noexcept {
    return createInstance<CNetSendProp>(outer, status);
}

CNetSendProp::CNetSendProp(IUnknown* outer, const PageResources& resources)
    : CBasePropertyPage(outer, resources, kSenderDialog, kSenderTitle) {}

HRESULT CNetSendProp::OnConnect(IUnknown* object) {
    OnDisconnect();
    const HRESULT filled = mcgate::util::FillInterfaceListOnce();
    if (FAILED(filled)) return filled;
    const HRESULT found = object->QueryInterface(ISenderConfig::iid, config_.putVoid());
    return FAILED(found) ? found : S_OK;
}

HRESULT CNetSendProp::OnDisconnect() {
    config_.reset();
    return S_OK;
}

HRESULT CNetSendProp::OnActivate() {
    if (!dialog_) return E_UNEXPECTED;
    for (const std::int32_t combo : {kInterface, kSecondInterface}) {
        const HRESULT filled = FillInterfaceCombo(*dialog_, combo);
        if (FAILED(filled)) return filled;
    }
    LoadDestination(0, kAddress, kPort, kInterface);
    LoadDestination(1, kSecondAddress, kSecondPort, kSecondInterface);
    return S_OK;
}

HRESULT CNetSendProp::OnApplyChanges() {
    applyBoth();
    return S_OK;
}

std::intptr_t CNetSendProp::OnReceiveMessage(IDialog* window, std::uint32_t message, std::uintptr_t first,
                                             std::intptr_t second) {
    switch (message) {
        case WM_INITDIALOG:
            dialog_ = window;
            return 1;
        case WM_COMMAND:
            if ((first & 0xFFFF) == kApply) applyBoth();
            return 1;
        case WM_DESTROY:
            dialog_.reset();
            [[fallthrough]];
        default:
            return CBasePropertyPage::OnReceiveMessage(window, message, first, second);
    }
}

void CNetSendProp::LoadDestination(std::int32_t index, std::int32_t addressId, std::int32_t portId,
                                   std::int32_t comboId) {
    if (!dialog_ || !config_) return;
    BstrPtr remote;
    BstrPtr local;
    std::uint32_t port = 0;
    if (config_->GetDestination(index, remote.put(), &port, local.put()) != S_OK) return;
    showText(*dialog_, addressId, remote.get());
    if (local) SelectInterface(*dialog_, comboId, local.get());
    CEditControl(*dialog_, portId).SetValue(static_cast<std::int32_t>(port));
}

void CNetSendProp::ApplyDestination(std::int32_t index, std::int32_t addressId, std::int32_t portId,
                                    std::int32_t comboId) {
    if (!dialog_ || !config_ || isEmpty(*dialog_, addressId) || isEmpty(*dialog_, portId)) return;
    const std::string remote = fieldText(*dialog_, addressId);
    const std::string local = chosenInterface(*dialog_, comboId);
    const auto port = static_cast<std::uint32_t>(fieldNumber(*dialog_, portId));
    if (!isIPv4Text(remote)) return;
    config_->SetDestination(index, toWide(remote).c_str(), port, toWide(local).c_str());
}

void CNetSendProp::applyBoth() {
    ApplyDestination(0, kAddress, kPort, kInterface);
    ApplyDestination(1, kSecondAddress, kSecondPort, kSecondInterface);
}
