#pragma once

#include "platform/unknown.h"

namespace mcgate::host {

/// Creates an object of the module beside the command; the module stays loaded. Throws std::runtime_error with the
/// reason.
platform::ComPtr<IUnknown> createObject(const GUID& classId);

/// As createObject, for one interface of the object.
template <class Interface>
platform::ComPtr<Interface> create(const GUID& classId) {
    return createObject(classId).query<Interface>();
}

}  // namespace mcgate::host
