// The classes of the module mcgate.AX.

#include "interfaces/class_ids.h"
#include "pages/net_recv_prop.h"
#include "pages/net_send_prop.h"
#include "receiver/network_receiver_filter.h"
#include "sender/network_send.h"
#include "server/server_core.h"

/// The compiler's own mark of a loaded file: an address inside it.
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;

namespace {

template <class Class>
CUnknown* create(IUnknown* outer, HRESULT* status) {
    return Class::CreateInstance(outer, status);
}

constexpr CFactoryTemplate kTemplates[] = {
    {CNetworkReceiverFilter::kSetup.strName, &CLSID_CNetworkReceiverFilter, &create<CNetworkReceiverFilter>, nullptr,
     &CNetworkReceiverFilter::kSetup},
    {u"Net Receive Properties", &CLSID_CNetRecvProp, &create<CNetRecvProp>, nullptr, nullptr},
    {CNetworkSend::kSetup.strName, &CLSID_CNetworkSend, &create<CNetworkSend>, nullptr, &CNetworkSend::kSetup},
    {u"Send Properties", &CLSID_CNetSendProp, &create<CNetSendProp>, nullptr, nullptr},
};

struct Table {
    Table() noexcept { SetFactoryTemplates(kTemplates, static_cast<int>(std::size(kTemplates))); }
};

// In this order: the init routines, which attachment calls, stand in the table.
const Table table;
const ModuleAttachment attachment(&__dso_handle);

}  // namespace
