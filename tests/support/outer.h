#pragma once

#include <cstdint>
#include <functional>

#include "media/host/base_object.h"

namespace test {

/// An outer object that aggregates another, with a count of its own. Lives on the stack.
class Outer final : public IUnknown {
public:
    explicit Outer(const std::function<CUnknown*(IUnknown* owner)>& make) : inner_(make(this)) {
        inner_->NonDelegatingAddRef();
        inner_->NonDelegatingQueryInterface(IUnknown::iid, reinterpret_cast<void**>(&innerIdentity_));
    }
    ~Outer() {
        innerIdentity_->Release();
        inner_->NonDelegatingRelease();
    }
    Outer(const Outer&) = delete;
    Outer& operator=(const Outer&) = delete;
    HRESULT QueryInterface(const GUID& id, void** object) override {
        if (id == IUnknown::iid) return GetInterface(static_cast<IUnknown*>(this), object);
        return innerIdentity_->QueryInterface(id, object);
    }
    std::uint32_t AddRef() override { return ++count_; }
    std::uint32_t Release() override { return --count_; }

    IUnknown* innerIdentity() const { return innerIdentity_; }
    std::uint32_t count() const { return count_; }

private:
    CUnknown* inner_;
    IUnknown* innerIdentity_ = nullptr;
    std::uint32_t count_ = 0;
};

}  // namespace test
