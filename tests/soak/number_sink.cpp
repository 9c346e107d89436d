#include "soak/number_sink.h"

#include "filters/transport_stream_type.h"
#include "media/host/base_input_pin.h"
#include "soak/numbered_sample.h"

namespace soak {

class NumberSink::Pin final : public CBaseInputPin {
public:
    explicit Pin(NumberSink& sink) : CBaseInputPin(&sink, &sink.filterLock_, u"Input"), sink_(sink) {}
    HRESULT CheckMediaType(const CMediaType* type) override { return mcgate::host::checkTransportStream(*type); }
    HRESULT Receive(IMediaSample* sample) override {
        const HRESULT status = CBaseInputPin::Receive(sample);
        return status == S_OK ? sink_.take(*sample) : status;
    }

private:
    NumberSink& sink_;
};

mcgate::platform::ComPtr<NumberSink> NumberSink::create(StreamRecord& record, std::uint32_t overlooked) {
    return mcgate::platform::ComPtr<NumberSink>(new NumberSink(record, overlooked));
}

NumberSink::NumberSink(StreamRecord& record, std::uint32_t overlooked)
    : CBaseFilter("Number sink", nullptr, &filterLock_, GUID_NULL), record_(record), overlooked_(overlooked) {
    pin_ = std::make_unique<Pin>(*this);
}

NumberSink::~NumberSink() = default;

CBasePin* NumberSink::GetPin(int index) { return index == 0 ? pin_.get() : nullptr; }

HRESULT NumberSink::take(IMediaSample& sample) {
    std::uint8_t* data = nullptr;
    const HRESULT status = sample.GetPointer(&data);
    if (FAILED(status)) return status;
    std::uint32_t number = 0;
    if (!readNumber(data, static_cast<std::size_t>(sample.GetActualDataLength()), number)) {
        record_.damaged();
    } else if (number != kPadding && number != overlooked_) {
        record_.arrived(number);
    }
    return S_OK;
}

}  // namespace soak
