#pragma once
// The root of all component interfaces, and the counted pointer that logic uses in place of AddRef and Release.

#include <cstdint>
#include <utility>

#include "platform/guid.h"
#include "platform/hresult.h"

/// Every component interface derives from it and carries its id as the constant `iid`.
/// Threads: AddRef and Release may be called from any thread.
struct IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{00000000-0000-0000-C000-000000000046}");

    /// Gives the object's interface `id` with a reference in `*object`, or E_NOINTERFACE and null; E_POINTER without
    /// `object`.
    virtual HRESULT QueryInterface(const GUID& id, void** object) = 0;
    /// Both give the count after the call, for diagnosis only.
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;

protected:
    ~IUnknown() = default;
};

namespace mcgate::platform {

/// A counted pointer to a component interface; empty or holding one reference.
template <class T>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(std::nullptr_t) noexcept {}
    /// Takes a reference of its own.
    ComPtr(T* object) noexcept : object_(object) {
        if (object_ != nullptr) object_->AddRef();
    }
    ComPtr(const ComPtr& other) noexcept : ComPtr(other.object_) {}
    ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ComPtr() { reset(); }

    /// Takes over a reference that the caller holds.
    static ComPtr attach(T* object) noexcept {
        ComPtr result;
        result.object_ = object;
        return result;
    }
    /// Gives the reference to the caller and leaves this pointer empty.
    T* detach() noexcept { return std::exchange(object_, nullptr); }
    void reset() noexcept {
        if (T* old = detach()) old->Release();
    }
    /// For out-parameters: releases what is held and gives the address to be filled.
    T** put() noexcept {
        reset();
        return &object_;
    }
    void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }

    /// Asks the object for another interface; empty when it is refused or this pointer is empty.
    template <class Other>
    ComPtr<Other> query() const {
        ComPtr<Other> result;
        if (object_ != nullptr) {
            void* found = nullptr;
            if (SUCCEEDED(object_->QueryInterface(Other::iid, &found))) {
                result = ComPtr<Other>::attach(static_cast<Other*>(found));
            }
        }
        return result;
    }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    friend bool operator==(const ComPtr& left, const ComPtr& right) noexcept { return left.object_ == right.object_; }

private:
    T* object_ = nullptr;
};

}  // namespace mcgate::platform
