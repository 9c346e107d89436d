#include "media/host/base_object.h"

namespace {
// Any value that no pairs of references taken and dropped by a destructor can bring to 0.
constexpr std::int32_t kDuringDestruction = 1 << 20;
}  // namespace

CUnknown::CUnknown(IUnknown* outer) noexcept : identity_(*this), owner_(outer != nullptr ? outer : &identity_) {}

CUnknown::~CUnknown() = default;

HRESULT CUnknown::NonDelegatingQueryInterface(const GUID& id, void** object) {
    if (object == nullptr) return E_POINTER;
    if (id == IUnknown::iid) return GetInterface(static_cast<IUnknown*>(&identity_), object);
    *object = nullptr;
    return E_NOINTERFACE;
}

std::uint32_t CUnknown::NonDelegatingAddRef() {
    return static_cast<std::uint32_t>(references_.fetch_add(1, std::memory_order_relaxed) + 1);
}

std::uint32_t CUnknown::NonDelegatingRelease() {
    const std::int32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left != 0) return static_cast<std::uint32_t>(left);
    references_.store(kDuringDestruction, std::memory_order_relaxed);
    delete this;
    return 0;
}
