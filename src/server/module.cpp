// The module's entry points: creation of its classes, and the number of its live objects.

#include "foundation/status.h"
#include "interfaces/class_ids.h"
#include "media/host/base_object.h"
#include "receiver/network_receiver_filter.h"
#include "sender/network_send.h"

namespace {

// Takes over a new object that has no reference yet.
template <class Filter>
HRESULT give(Filter* filter, HRESULT status, const GUID& interfaceId, void** object) {
    if (filter == nullptr) return FAILED(status) ? status : E_OUTOFMEMORY;
    filter->NonDelegatingAddRef();
    const HRESULT asked = filter->NonDelegatingQueryInterface(interfaceId, object);
    filter->NonDelegatingRelease();
    return asked;
}

}  // namespace

/// Creates an object of a class of this module and gives its interface, with a reference, in `*object`.
/// CLASS_E_CLASSNOTAVAILABLE for an unknown class, E_NOINTERFACE for an unknown interface, the failure of the
/// constructor.
extern "C" __attribute__((visibility("default"))) HRESULT McgateCreateObject(const GUID& classId,
                                                                             const GUID& interfaceId, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    HRESULT status = S_OK;
    if (classId == CLSID_CNetworkReceiverFilter) {
        auto* filter = CNetworkReceiverFilter::CreateInstance(nullptr, &status);
        return give(filter, status, interfaceId, object);
    }
    if (classId == CLSID_CNetworkSend) {
        auto* filter = CNetworkSend::CreateInstance(nullptr, &status);
        return give(filter, status, interfaceId, object);
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

/// Objects of this module that are alive: filters, pins, allocators, enumerators.
extern "C" __attribute__((visibility("default"))) std::int32_t McgateLiveObjects() {
    return CBaseObject::ObjectsActive();
}
