#pragma once
// Registration of filters with the filter mapper.

#include <cstdint>

#include "platform/class_creation.h"
#include "platform/filter_mapper.h"

inline constexpr std::uint32_t MERIT_DO_NOT_USE = 0x200000;

struct AMOVIESETUP_PIN;

/// Registration record of a filter.
struct AMOVIESETUP_FILTER {
    const GUID* clsID = nullptr;
    const WCHAR* strName = nullptr;
    std::uint32_t dwMerit = 0;
    std::uint32_t nPins = 0;
    const AMOVIESETUP_PIN* lpPin = nullptr;
};

enum class SetUp { Register, Unregister };

/// Registers the filter in place of an older registration, or unregisters it, with a mapper of either kind. A filter
/// that was not registered is no failure.
HRESULT setUpFilter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& filter, SetUp what);
HRESULT setUpFilter(IFilterMapper& mapper, const AMOVIESETUP_FILTER& filter, SetUp what);

/// The same with an older mapper made for it. Gives the failure to make one, too.
HRESULT setUpWithOlderMapper(const AMOVIESETUP_FILTER& filter, SetUp what);

/// Class creation for a scope; at its end idle modules are unloaded, as after any use of it.
class CreationScope {
public:
    CreationScope() noexcept { CoInitialize(nullptr); }
    ~CreationScope() {
        CoFreeUnusedLibraries();
        CoUninitialize();
    }
    CreationScope(const CreationScope&) = delete;
    CreationScope& operator=(const CreationScope&) = delete;
};
