#pragma once
// The filter mapper: where filters are registered with name and merit, for hosts that look for one. Class creation
// makes it, under either class id; both interfaces keep their registrations in the same place, the registry's keys
// "CLSID\{category}\Instance\{class id}", so that a filter has one registration in its category whichever wrote it.
//
// Statuses: S_OK, E_POINTER, the registry's error number as an HRESULT (0x80070002: was not registered). Filters are
// registered here without pins, and found by listRegisteredFilters: what would describe pins, make monikers or
// enumerate them gives E_NOTIMPL. Threads: any.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/process/api.h"
#include "platform/text.h"
#include "platform/unknown.h"

inline constexpr GUID CLSID_FilterMapper2 = mcgate::platform::guid("{CDA42200-BD88-11D0-BD4E-00A0C911CE86}");
inline constexpr GUID CLSID_FilterMapper = mcgate::platform::guid("{E436EBB2-524F-11CE-9F53-0020AF0BA770}");
/// The category of filters that name none.
inline constexpr GUID CLSID_LegacyAmFilterCategory = mcgate::platform::guid("{083863F1-70DE-11D0-BD40-00A0C911CE86}");

struct IMoniker;
struct IEnumMoniker;
struct IEnumRegFilters;
struct REGFILTERPINS;
struct REGPINMEDIUM;

struct REGFILTER2 {
    std::uint32_t dwVersion = 1;
    std::uint32_t dwMerit = 0;
    std::uint32_t cPins = 0;
    const REGFILTERPINS* rgPins = nullptr;
};

struct IFilterMapper2 : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{B79BB0B0-33C1-11D1-ABE1-00A0C905F375}");
    virtual HRESULT CreateCategory(const GUID& category, std::uint32_t merit, const WCHAR* description) = 0;
    /// A null category is CLSID_LegacyAmFilterCategory, a null instance the class id's text.
    virtual HRESULT UnregisterFilter(const GUID* category, const WCHAR* instance, const GUID& filter) = 0;
    /// Replaces an older registration. E_INVALIDARG for a version other than 1, or an instance with a backslash.
    virtual HRESULT RegisterFilter(const GUID& filter, const WCHAR* name, IMoniker** moniker, const GUID* category,
                                   const WCHAR* instance, const REGFILTER2* setup) = 0;
    virtual HRESULT EnumMatchingFilters(IEnumMoniker** found, std::uint32_t flags, std::int32_t exactMatch,
                                        std::uint32_t merit, std::int32_t inputNeeded, std::uint32_t inputTypes,
                                        const GUID* inputs, const REGPINMEDIUM* inputMedium, const GUID* inputCategory,
                                        std::int32_t render, std::int32_t outputNeeded, std::uint32_t outputTypes,
                                        const GUID* outputs, const REGPINMEDIUM* outputMedium,
                                        const GUID* outputCategory) = 0;

protected:
    ~IFilterMapper2() = default;
};

/// The older one.
struct IFilterMapper : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{56A868A3-0AD4-11CE-B03A-0020AF0BA770}");
    /// Replaces an older registration.
    virtual HRESULT RegisterFilter(const GUID& filter, const WCHAR* name, std::uint32_t merit) = 0;
    virtual HRESULT RegisterFilterInstance(const GUID& filter, const WCHAR* name, GUID* instance) = 0;
    virtual HRESULT RegisterPin(const GUID& filter, const WCHAR* name, std::int32_t rendered, std::int32_t output,
                                std::int32_t zero, std::int32_t many, const GUID& connectsTo,
                                const WCHAR* connectsToPin) = 0;
    virtual HRESULT RegisterPinType(const GUID& filter, const WCHAR* name, const GUID& majorType,
                                    const GUID& subType) = 0;
    virtual HRESULT UnregisterFilter(const GUID& filter) = 0;
    virtual HRESULT UnregisterFilterInstance(const GUID& instance) = 0;
    virtual HRESULT UnregisterPin(const GUID& filter, const WCHAR* name) = 0;
    virtual HRESULT EnumMatchingFilters(IEnumRegFilters** found, std::uint32_t merit, std::int32_t inputNeeded,
                                        const GUID& inputType, const GUID& inputSubType, std::int32_t render,
                                        std::int32_t outputNeeded, const GUID& outputType,
                                        const GUID& outputSubType) = 0;

protected:
    ~IFilterMapper() = default;
};

namespace mcgate::platform {

struct RegisteredFilter {
    std::string classId;  ///< text form with braces
    std::string name;
    std::string merit;  ///< hexadecimal, "0x00200000"
};

/// The filters of the category for those that name none. A platform error number; none registered is no error.
MCGATE_PROCESS_API int listRegisteredFilters(std::vector<RegisteredFilter>& filters) noexcept;

}  // namespace mcgate::platform
