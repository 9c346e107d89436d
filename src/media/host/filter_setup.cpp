#include "media/host/filter_setup.h"

#include "platform/errors.h"

namespace {

HRESULT orWasNotThere(HRESULT status) {
    return status == HRESULT_FROM_WIN32(mcgate::platform::ErrorFileNotFound) ? S_OK : status;
}

}  // namespace

HRESULT setUpFilter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& filter, SetUp what) {
    HRESULT status = mapper.UnregisterFilter(nullptr, nullptr, *filter.clsID);
    if (what == SetUp::Register) {
        const REGFILTER2 record{1, filter.dwMerit, filter.nPins, nullptr};
        status = mapper.RegisterFilter(*filter.clsID, filter.strName, nullptr, nullptr, nullptr, &record);
    }
    return orWasNotThere(status);
}

HRESULT setUpFilter(IFilterMapper& mapper, const AMOVIESETUP_FILTER& filter, SetUp what) {
    HRESULT status = mapper.UnregisterFilter(*filter.clsID);
    if (what == SetUp::Register) status = mapper.RegisterFilter(*filter.clsID, filter.strName, filter.dwMerit);
    return orWasNotThere(status);
}

HRESULT setUpWithOlderMapper(const AMOVIESETUP_FILTER& filter, SetUp what) {
    const CreationScope scope;
    mcgate::platform::ComPtr<IFilterMapper> mapper;
    const HRESULT made =
        CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IFilterMapper::iid, mapper.putVoid());
    return FAILED(made) ? made : setUpFilter(*mapper, filter, what);
}
