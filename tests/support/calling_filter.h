#pragma once

#include <functional>
#include <utility>

#include "media/host/base_filter.h"
#include "media/host/base_input_pin.h"

namespace test {

/// A renderer of any type that calls a function with each sample, on the thread that delivers it.
class CallingFilter : public CBaseFilter {
public:
    using Take = std::function<HRESULT(IMediaSample& sample)>;

    /// `canBlock` answers ReceiveCanBlock: S_FALSE for direct delivery.
    explicit CallingFilter(Take take, HRESULT canBlock = S_OK)
        : CBaseFilter("Caller", nullptr, &filterLock_, GUID_NULL), canBlock_(canBlock), pin_(*this, std::move(take)) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }

protected:
    virtual HRESULT answerCanBlock() { return canBlock_; }

private:
    class Pin final : public CBaseInputPin {
    public:
        Pin(CallingFilter& owner, Take take)
            : CBaseInputPin(&owner, &owner.filterLock_, u"In"), owner_(owner), take_(std::move(take)) {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        HRESULT ReceiveCanBlock() override { return owner_.answerCanBlock(); }
        HRESULT Receive(IMediaSample* sample) override {
            const HRESULT status = CBaseInputPin::Receive(sample);
            return status == S_OK ? take_(*sample) : status;
        }

    private:
        CallingFilter& owner_;
        const Take take_;
    };

    const HRESULT canBlock_;
    CCritSec filterLock_;
    Pin pin_;
};

}  // namespace test
