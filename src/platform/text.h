#pragma once
// Texts that cross a component interface are UTF-16 (16-bit code units), inside they are UTF-8. Strings and blocks
// handed to a caller are allocated here, so that either side of an interface can free them.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

using WCHAR = char16_t;
/// A counted, zero-terminated UTF-16 text made by SysAllocString; the receiver frees it with SysFreeString.
using BSTR = WCHAR*;

/// Copies `text`; null for a null text or when memory runs out.
BSTR SysAllocString(const WCHAR* text) noexcept;
/// Frees a BSTR; null is allowed.
void SysFreeString(BSTR text) noexcept;
/// Length in code units without the terminator; 0 for null.
std::size_t SysStringLen(BSTR text) noexcept;

/// A block that the receiver of an out-parameter frees with CoTaskMemFree; null when memory runs out.
void* CoTaskMemAlloc(std::size_t bytes) noexcept;
void CoTaskMemFree(void* block) noexcept;

namespace mcgate::platform {

/// UTF-8 of a UTF-16 text and back; null counts as empty. What is malformed becomes U+FFFD. Throw std::bad_alloc only.
std::string toNarrow(const WCHAR* text);
std::string toNarrow(std::u16string_view text);
std::u16string toWide(std::string_view text);

/// Owns a BSTR that an interface hands out.
class BstrPtr {
public:
    BstrPtr() noexcept = default;
    BstrPtr(BstrPtr&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    BstrPtr& operator=(BstrPtr&& other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }
    ~BstrPtr() { SysFreeString(text_); }

    /// For out-parameters: frees what is held and gives the address to be filled.
    BSTR* put() noexcept {
        SysFreeString(std::exchange(text_, nullptr));
        return &text_;
    }
    const WCHAR* get() const noexcept { return text_; }
    explicit operator bool() const noexcept { return text_ != nullptr; }

private:
    BSTR text_ = nullptr;
};

}  // namespace mcgate::platform
