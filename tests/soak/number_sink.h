#pragma once

#include <memory>

#include "media/host/base_filter.h"
#include "platform/unknown.h"
#include "soak/stream_record.h"

namespace soak {

/// Reads the number of each sample into a record. Threads: graph threads; the upstream queue's in Receive.
class NumberSink final : public CBaseFilter {
public:
    /// `record` outlives the sink. `overlooked` is a number that the sink keeps to itself, for showing that a loss is
    /// seen; 0 for none.
    static mcgate::platform::ComPtr<NumberSink> create(StreamRecord& record, std::uint32_t overlooked);

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override;

private:
    class Pin;
    NumberSink(StreamRecord& record, std::uint32_t overlooked);
    ~NumberSink() override;
    HRESULT take(IMediaSample& sample);

    CCritSec filterLock_;
    std::unique_ptr<Pin> pin_;
    StreamRecord& record_;
    const std::uint32_t overlooked_;
};

}  // namespace soak
