#include "pages/net_recv_prop.h"

#include <mutex>
#include <utility>

#include "media/host/create_instance.h"
#include "pages/edit_control.h"
#include "pages/interface_combo.h"
#include "pages/page_fields.h"
#include "util/interface_list.h"

using mcgate::platform::BstrPtr;
using mcgate::platform::ComPtr;
using mcgate::platform::IDialog;
using mcgate::platform::toWide;
using namespace page_ids;

CNetRecvProp* CNetRecvProp::CreateInstance(IUnknown* outer, HRESULT* status) noexcept {
    return createInstance<CNetRecvProp>(outer, status);
}

CNetRecvProp::CNetRecvProp(IUnknown* outer, const PageResources& resources)
    : CBasePropertyPage(outer, resources, kReceiverDialog, kReceiverTitle) {}

CNetRecvProp::~CNetRecvProp() {
    setDialog(nullptr);
    CNetRecvProp::OnDisconnect();
    // Behind a call that lasts longer than removing the listener waits.
    const std::lock_guard hold(gate_);
}

HRESULT CNetRecvProp::OnConnect(IUnknown* object) {
    OnDisconnect();  // an earlier filter forgets the page first
    const HRESULT filled = mcgate::util::FillInterfaceListOnce();
    if (FAILED(filled)) return filled;
    ComPtr<ISourceConfig> config;
    const HRESULT found = object->QueryInterface(ISourceConfig::iid, config.putVoid());
    if (FAILED(found)) return found;
    {
        const std::lock_guard hold(gate_);
        config_ = config;
    }
    const HRESULT listening = config->SetDataSourceListener(this);
    if (FAILED(listening)) OnDisconnect();
    return FAILED(listening) ? listening : S_OK;
}

HRESULT CNetRecvProp::OnDisconnect() {
    ComPtr<ISourceConfig> config;
    {
        const std::lock_guard hold(gate_);
        config = std::exchange(config_, nullptr);
    }
    if (config) config->RemoveDataSourceListener(this);
    return S_OK;
}

HRESULT CNetRecvProp::OnActivate() {
    const ComPtr<IDialog> open = dialog();
    if (!open) return E_UNEXPECTED;
    const HRESULT filled = FillInterfaceCombo(*open, kInterface);
    if (FAILED(filled)) return filled;
    Refresh();
    return S_OK;
}

HRESULT CNetRecvProp::OnApplyChanges() {
    ApplyChanges();
    return S_OK;
}

std::intptr_t CNetRecvProp::OnReceiveMessage(IDialog* window, std::uint32_t message, std::uintptr_t first,
                                             std::intptr_t second) {
    switch (message) {
        case WM_INITDIALOG:
            setDialog(window);
            return 1;
        case WM_COMMAND:
            if ((first & 0xFFFF) == kApply) ApplyChanges();
            return 1;
        case WM_DESTROY:
            setDialog(nullptr);
            [[fallthrough]];
        default:
            return CBasePropertyPage::OnReceiveMessage(window, message, first, second);
    }
}

void CNetRecvProp::OnDataPresenceChanged(bool) {
    try {
        Refresh();
    } catch (...) {
        return;  // for want of memory: the fields keep what they had until the next change
    }
}

void CNetRecvProp::Refresh() {
    const std::lock_guard hold(gate_);
    if (!dialog_) return;
    LoadSource();
    showDataState();
    showTimeout();
}

void CNetRecvProp::LoadSource() {
    const std::lock_guard hold(gate_);
    if (!dialog_ || !config_) return;
    BstrPtr group;
    BstrPtr local;
    BstrPtr source;
    std::uint32_t port = 0;
    if (config_->GetSource(group.put(), &port, local.put(), source.put()) != S_OK) return;
    showText(*dialog_, kAddress, group.get());
    if (local) SelectInterface(*dialog_, kInterface, local.get());
    CEditControl(*dialog_, kPort).SetValue(static_cast<std::int32_t>(port));
    showText(*dialog_, kSource, source.get());
}

void CNetRecvProp::showDataState() {
    std::uint8_t present = 0;
    if (config_) config_->GetDataPresent(&present);
    dialog_->SetText(kDataState, present != 0 ? "Data present" : "No data");
}

void CNetRecvProp::showTimeout() {
    std::uint32_t milliseconds = 5000;
    if (config_) config_->GetTimeout(&milliseconds);
    CEditControl(*dialog_, kTimeout).SetValue(static_cast<std::int32_t>(milliseconds));
}

// All at once under the gate: a change of the data state meanwhile would put the filter's old settings into the fields.
CNetRecvProp::Entries CNetRecvProp::entries() {
    const std::lock_guard hold(gate_);
    Entries result;
    result.config = dialog_ ? config_ : nullptr;
    if (!result.config) return result;
    result.group = fieldText(*dialog_, kAddress);
    result.local = chosenInterface(*dialog_, kInterface);
    result.hasPort = !isEmpty(*dialog_, kPort);
    result.port = fieldNumber(*dialog_, kPort);
    result.source = fieldText(*dialog_, kSource);
    result.timeoutMs = fieldNumber(*dialog_, kTimeout);
    return result;
}

void CNetRecvProp::ApplySource(const Entries& entries) {
    if (!entries.config || entries.group.empty() || !entries.hasPort || !isIPv4Text(entries.group)) return;
    entries.config->SetSource(entries.port, toWide(entries.local).c_str(), toWide(entries.group).c_str(),
                              toWide(entries.source).c_str());
}

void CNetRecvProp::ApplyChanges() {
    const Entries present = entries();
    ApplySource(present);
    if (present.config) present.config->SetTimeout(present.timeoutMs);
}

ComPtr<IDialog> CNetRecvProp::dialog() {
    const std::lock_guard hold(gate_);
    return dialog_;
}

void CNetRecvProp::setDialog(IDialog* window) {
    ComPtr<IDialog> fresh = window;  // the old one is released after the gate
    const std::lock_guard hold(gate_);
    std::swap(dialog_, fresh);
}
