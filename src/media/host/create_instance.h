#pragma once

#include <memory>
#include <type_traits>

#include "foundation/status.h"
#include "platform/unknown.h"

/// What a class of a module is made by: a new object without a reference, or null and a failure in `*status`. Nothing
/// is thrown, and no object stays. A class may tell a failure by the status that its constructor takes, or by an
/// exception.
template <class Class>
Class* createInstance(IUnknown* outer, HRESULT* status) noexcept {
    *status = S_OK;
    try {
        if constexpr (std::is_constructible_v<Class, IUnknown*, HRESULT*>) {
            auto made = std::make_unique<Class>(outer, status);
            return FAILED(*status) ? nullptr : made.release();
        } else {
            return std::make_unique<Class>(outer).release();
        }
    } catch (...) {
        *status = mcgate::foundation::statusOfCurrentException();
        return nullptr;
    }
}
