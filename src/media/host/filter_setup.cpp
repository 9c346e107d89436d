#include "media/host/filter_setup.h"

#include "platform/errors.h"

namespace {

HRESULT orWasNotThere(HRESULT status) {
    return status == HRESULT_FROM_WIN32(mcgate::platform::ErrorFileNotFound) ? S_OK : status;
}

}  // namespace

HRESULT setUpFilter(IFilterMapper2& mapper, const AMOVIESETUP_FILTER& filter, SetUp what) {
    const HRESULT gone = orWasNotThere(mapper.UnregisterFilter(nullptr, nullptr, *filter.clsID));
    if (FAILED(gone) || what == SetUp::Unregister) return gone;
    const REGFILTER2 record{1, filter.dwMerit, filter.nPins, nullptr};
    return orWasNotThere(mapper.RegisterFilter(*filter.clsID, filter.strName, nullptr, nullptr, nullptr, &record));
}

HRESULT setUpFilter(IFilterMapper& mapper, const AMOVIESETUP_FILTER& filter, SetUp what) {
    const HRESULT gone = orWasNotThere(mapper.UnregisterFilter(*filter.clsID));
    if (FAILED(gone) || what == SetUp::Unregister) return gone;
    return orWasNotThere(mapper.RegisterFilter(*filter.clsID, filter.strName, filter.dwMerit));
}

HRESULT setUpWithOlderMapper(const AMOVIESETUP_FILTER& filter, SetUp what) {
    const CreationScope scope;
    mcgate::platform::ComPtr<IFilterMapper> mapper;
    const HRESULT made =
        CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IFilterMapper::iid, mapper.putVoid());
    return FAILED(made) ? made : setUpFilter(*mapper, filter, what);
}
