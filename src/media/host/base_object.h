#pragma once
// Object identity: live count, aggregation, and the lock type of filters.

#include <atomic>
#include <cstdint>

#include "platform/critical_section.h"
#include "platform/unknown.h"

/// The lock of filters and pins; re-entrant.
using CCritSec = mcgate::platform::CriticalSection;

/// Counts the live objects of this module (or host program): filters, pins, allocators, enumerators, factories.
class CBaseObject {
public:
    CBaseObject() noexcept { ++count_; }
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;
    static std::int32_t ObjectsActive() noexcept { return count_.load(); }

protected:
    ~CBaseObject() { --count_; }

private:
    static inline std::atomic<std::int32_t> count_{0};
};

/// The object's own identity, apart from that of an outer object that aggregates it.
struct INonDelegatingUnknown {
    virtual HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) = 0;
    virtual std::uint32_t NonDelegatingAddRef() = 0;
    virtual std::uint32_t NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

/// Gives `object` out as an interface: adds a reference and gives S_OK; E_POINTER without `out`.
template <class Interface>
HRESULT GetInterface(Interface* object, void** out) {
    if (out == nullptr) return E_POINTER;
    object->AddRef();
    *out = object;
    return S_OK;
}

/// Base of every component class. Starts with a count of 0: the maker takes the first reference. The last
/// NonDelegatingRelease destroys the object, on the calling thread. A derived class writes MCGATE_DECLARE_IUNKNOWN.
/// The count is kept above 0 during destruction, so that references taken and dropped meanwhile do no harm.
class CUnknown : public INonDelegatingUnknown, public CBaseObject {
public:
    /// `outer` aggregates this object, or is null; it is not counted.
    explicit CUnknown(IUnknown* outer) noexcept;
    virtual ~CUnknown();

    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override;
    std::uint32_t NonDelegatingAddRef() override;
    std::uint32_t NonDelegatingRelease() override;

    /// The outer object, or this one's own identity.
    IUnknown* GetOwner() const noexcept { return owner_; }

private:
    /// What QueryInterface gives for IUnknown: the one interface whose references are always this object's own.
    class Identity final : public IUnknown {
    public:
        explicit Identity(CUnknown& object) noexcept : object_(object) {}
        HRESULT QueryInterface(const GUID& id, void** object) override {
            return object_.NonDelegatingQueryInterface(id, object);
        }
        std::uint32_t AddRef() override { return object_.NonDelegatingAddRef(); }
        std::uint32_t Release() override { return object_.NonDelegatingRelease(); }

    private:
        CUnknown& object_;
    };

    Identity identity_;
    IUnknown* const owner_;
    std::atomic<std::int32_t> references_{0};
};

#define MCGATE_DECLARE_IUNKNOWN                                                                                       \
    HRESULT QueryInterface(const GUID& id, void** object) override { return GetOwner()->QueryInterface(id, object); } \
    std::uint32_t AddRef() override { return GetOwner()->AddRef(); }                                                  \
    std::uint32_t Release() override { return GetOwner()->Release(); }
