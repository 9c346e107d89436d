#pragma once

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "filters/transport_stream_type.h"
#include "media/host/base_filter.h"
#include "media/host/base_output_pin.h"
#include "network/endpoint.h"

namespace bench {

/// A source that delivers samples of one size as fast as the sender takes them: it looks for free samples in advance,
/// and keeps one free, since the sender drops when it finds none. The payload is not touched. One thread delivers.
class Feeder final : public CBaseFilter {
public:
    Feeder(std::int32_t bytes, std::int32_t buffers)
        : CBaseFilter("Feeder", nullptr, &filterLock_, GUID_NULL), pin_(*this, bytes, buffers), bytes_(bytes) {}

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }

    bool deliver() {
        if (free_ == 0) waitForFree();
        --free_;
        mcgate::platform::ComPtr<IMediaSample> sample;
        if (!take(sample)) return false;
        sample->SetActualDataLength(bytes_);
        return pin_.Deliver(sample.get()) == S_OK;
    }
    /// Returns when every sample has come back, so that all has been sent.
    void waitUntilAllBack() {
        ALLOCATOR_PROPERTIES pool;
        pin_.allocator()->GetProperties(&pool);
        std::vector<mcgate::platform::ComPtr<IMediaSample>> all(static_cast<std::size_t>(pool.cBuffers));
        for (auto& one : all) pin_.GetDeliveryBuffer(one.put(), nullptr, nullptr, 0);
    }

private:
    // Sees that some samples are free at once: the next deliveries need not look, as nobody else takes any.
    void waitForFree() {
        constexpr std::size_t kAtOnce = 32;
        for (;;) {
            std::vector<mcgate::platform::ComPtr<IMediaSample>> some(kAtOnce + 1);
            const auto taken = [this](auto& one) { return take(one); };
            if (std::all_of(some.begin(), some.end(), taken)) break;
            some.clear();
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        free_ = kAtOnce;
    }
    bool take(mcgate::platform::ComPtr<IMediaSample>& sample) {
        return pin_.GetDeliveryBuffer(sample.put(), nullptr, nullptr, AM_GBF_NOWAIT) == S_OK;
    }

    class Pin final : public CBaseOutputPin {
    public:
        Pin(Feeder& feeder, std::int32_t bytes, std::int32_t buffers)
            : CBaseOutputPin(&feeder, &feeder.filterLock_, u"Out"), bytes_(bytes), buffers_(buffers) {}
        using CBaseOutputPin::allocator;

        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        HRESULT GetMediaType(int position, CMediaType* type) override {
            if (position != 0) return VFW_S_NO_MORE_ITEMS;
            *type = mcgate::host::transportStreamType(0);
            return S_OK;
        }
        HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
            request->cBuffers = buffers_;
            request->cbBuffer = bytes_;
            ALLOCATOR_PROPERTIES actual;
            return allocator->SetProperties(request, &actual);
        }

    private:
        const std::int32_t bytes_;
        const std::int32_t buffers_;
    };

    CCritSec filterLock_;
    Pin pin_;
    const std::int32_t bytes_;
    std::size_t free_ = 0;
};

}  // namespace bench
