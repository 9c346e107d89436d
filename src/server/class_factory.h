#pragma once

#include <atomic>

#include "platform/class_creation.h"
#include "server/server_core.h"

/// Makes objects of one class of the module. Counts among the module's live objects. Any thread; no locks.
class CClassFactory final : public IClassFactory, public CBaseObject {
public:
    /// With a reference for the caller.
    explicit CClassFactory(const CFactoryTemplate& row) noexcept : row_(row) {}

    /// Answers IUnknown and IClassFactory.
    HRESULT QueryInterface(const GUID& id, void** object) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;

    /// E_POINTER without `object`; E_NOINTERFACE when an object to be aggregated is asked for more than IUnknown; the
    /// failure that the class gives.
    HRESULT CreateInstance(IUnknown* outer, const GUID& interfaceId, void** object) override;
    /// One count for all factories of the module.
    HRESULT LockServer(bool lock) override;

    static bool isServerLocked() noexcept;

private:
    const CFactoryTemplate& row_;
    std::atomic<std::uint32_t> references_{1};
};
