#pragma once

#include <cstdint>

#include "platform/dialog.h"

/// One control of an open dialog. Lives on the stack of whoever writes to it; any thread that may use the dialog.
class CControlBase {
public:
    CControlBase(mcgate::platform::IDialog& window, std::int32_t id) noexcept : window_(window), id_(id) {}
    /// Deletes what is marked in it.
    virtual void Clear() = 0;

protected:
    ~CControlBase() = default;

    mcgate::platform::IDialog& window_;
    const std::int32_t id_;
};

/// A field that shows a number.
class CEditControl final : public CControlBase {
public:
    using CControlBase::CControlBase;
    void Clear() override;
    /// The number in decimal becomes the text. Throws std::bad_alloc.
    void SetValue(std::int32_t value);
};
