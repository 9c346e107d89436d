#pragma once

#include <functional>
#include <utility>

#include "media/host/base_filter.h"
#include "media/host/base_input_pin.h"

namespace test {

/// A renderer of any type that calls a function with each sample, on the thread that delivers it.
class CallingFilter final : public CBaseFilter {
public:
    using Take = std::function<HRESULT(IMediaSample& sample)>;

    /// `canBlock` answers ReceiveCanBlock: S_FALSE for direct delivery.
    explicit CallingFilter(Take take, HRESULT canBlock = S_OK)
        : CBaseFilter("Caller", nullptr, &filterLock_, GUID_NULL), pin_(*this, std::move(take), canBlock) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }

private:
    class Pin final : public CBaseInputPin {
    public:
        Pin(CallingFilter& owner, Take take, HRESULT canBlock)
            : CBaseInputPin(&owner, &owner.filterLock_, u"In"), take_(std::move(take)), canBlock_(canBlock) {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        HRESULT ReceiveCanBlock() override { return canBlock_; }
        HRESULT Receive(IMediaSample* sample) override {
            const HRESULT status = CBaseInputPin::Receive(sample);
            return status == S_OK ? take_(*sample) : status;
        }

    private:
        const Take take_;
        const HRESULT canBlock_;
    };

    CCritSec filterLock_;
    Pin pin_;
};

}  // namespace test
