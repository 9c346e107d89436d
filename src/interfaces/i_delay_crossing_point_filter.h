#pragma once

#include <cstdint>

#include "platform/unknown.h"

namespace quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0 {

/// The host's object that follows samples through the sender. Not counted. Called on the streaming thread (input) and
/// on the send thread (output); must not call back into anything that waits for those.
class IDelayCrossingCallback {
public:
    /// Never called.
    virtual void OnReserved() = 0;
    /// A sample with the data id `dataId` (IMediaSample3, key DataId) passed the point.
    virtual void OnDataCrossing(std::uint64_t dataId) = 0;

protected:
    ~IDelayCrossingCallback() = default;
};

/// On the sender filter. Each setter replaces the callback, null clears it; after it returned, the old one is not
/// called again (a call in progress on another thread is waited for, at most 250 ms). Always S_OK.
struct IDelayCrossingPointFilter : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{DC70DA9F-29EB-44BF-B242-EE625E0B5FB2}");

    /// Told of each sample as it enters the filter, before it is queued; not of samples that are dropped.
    virtual HRESULT SetInputCrossingCallback(IDelayCrossingCallback* callback) = 0;
    /// Told of each sample after its bytes went to the network layer.
    virtual HRESULT SetOutputCrossingCallback(IDelayCrossingCallback* callback) = 0;

protected:
    ~IDelayCrossingPointFilter() = default;
};

}  // namespace quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0
