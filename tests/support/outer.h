#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>

#include "media/host/base_object.h"
#include "media/host/interfaces.h"

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

/// Each of the interfaces is one and the same object's, which is of this class.
inline void expectOneObject(Outer& outer, std::initializer_list<GUID> interfaces, const GUID& classId) {
    for (const GUID& id : interfaces) {
        mcgate::platform::ComPtr<IUnknown> found;
        ASSERT_EQ(outer.QueryInterface(id, found.putVoid()), S_OK);
        EXPECT_EQ(found.query<IUnknown>().get(), &outer);
        GUID ofPersist;
        GUID ofStream;
        ASSERT_TRUE(found.query<IPersist>() && found.query<IPersistStream>());
        EXPECT_EQ(found.query<IPersist>()->GetClassID(&ofPersist), S_OK);
        EXPECT_EQ(found.query<IPersistStream>()->GetClassID(&ofStream), S_OK);
        EXPECT_TRUE(ofPersist == classId && ofStream == classId);
    }
    EXPECT_EQ(outer.count(), 0U) << "each reference was the outer object's";
    mcgate::platform::ComPtr<IUnknown> own;
    ASSERT_EQ(outer.innerIdentity()->QueryInterface(IUnknown::iid, own.putVoid()), S_OK);
    EXPECT_EQ(own.get(), outer.innerIdentity());
}

}  // namespace test
