#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "filters/sample_mark.h"
#include "foundation/thread.h"
#include "media/host/base_filter.h"
#include "media/host/base_input_pin.h"
#include "media/host/base_output_pin.h"
#include "platform/waitable.h"
#include "ts/datagram_stamper.h"
#include "ts/stream_meter.h"

namespace mcgate::host {

struct TsStamperOptions {
    bool paced = true;                ///< false: every datagram keeps its arrival, and none waits
    std::uint32_t silenceMs = 5000;   ///< after which the stream's tail is pushed out
    std::int32_t buffers = 16 << 10;  ///< of the pool that serves both sides, one datagram each
    std::function<void(const SampleMark& mark)> beforeSample = [](const SampleMark&) {};
};

struct StamperFigures {
    std::uint64_t datagrams = 0;  ///< that came
    std::uint64_t bytes = 0;      ///< in them
    std::uint64_t samples = 0;    ///< that were delivered
    StreamMeter::Figures stream;  ///< as it came
};

/// Stands between a receiver and a sender: passes a live transport stream's datagrams on, byte for byte and in their
/// own buffers, with what the sender paces by: a format type, times from the PCRs (see DatagramStamper), and data ids
/// (1, 2, ...). The connection says that the bit rate is unknown; the first sample at which it is known carries a media
/// type with it. Connect the input first: both sides share its pool.
///
/// The end of a stream stays in the sender until more comes. After a silence, and at the end, seven null packets push
/// it out, where the stream ends with a whole packet.
///
/// Threads: the upstream thread, graph threads, and one of its own between Active and Inactive, which lets go of what
/// waits for a PCR that doesn't come. streamLock_ is over all that they share, and held while delivering: downstream
/// must take samples without waiting, as the sender does, and this input then never waits either. Inactive joins the
/// thread without that lock. What downstream refuses is lost, and the stream goes on.
class TsStamper final : public CBaseFilter {
public:
    static platform::ComPtr<TsStamper> create(const TsStamperOptions& options);

    int GetPinCount() override { return 2; }
    /// 0 is the input, 1 the output.
    CBasePin* GetPin(int index) override;
    /// Sums up the measurements, so it belongs into a report, not into a loop.
    StamperFigures figures();

private:
    class Input;
    class Output;
    explicit TsStamper(const TsStamperOptions& options);
    ~TsStamper() override;

    void startWatching();
    void stopWatching();
    void watch();
    void look();
    HRESULT take(IMediaSample& sample) noexcept;
    void takeDatagram(IMediaSample& sample);
    void finish() noexcept;
    void pushTail(std::int64_t now);
    void deliverStamped();
    void deliver(IMediaSample& sample, const DatagramStamp& stamp);
    void tellRate(IMediaSample& sample);

    const TsStamperOptions options_;
    CCritSec filterLock_;
    std::unique_ptr<Input> input_;
    std::unique_ptr<Output> output_;
    platform::Event stopEvent_{platform::Event::Reset::Manual};
    std::unique_ptr<quorvel::system::thread::v1::Thread> thread_;

    std::mutex streamLock_;  // over what follows
    bool watching_ = false;  ///< what comes behind the watch, from a thread that the stop met inside, goes nowhere
    DatagramStamper stamper_;
    StreamMeter meter_;
    std::deque<platform::ComPtr<IMediaSample>> waiting_;  ///< as in stamper_
    std::vector<DatagramStamp> stamps_;
    std::int64_t lastArrival_ = 0;
    bool tailIsOut_ = true;
    bool rateIsTold_ = false;
    std::uint64_t nextId_ = 1;
    StamperFigures figures_;
};

}  // namespace mcgate::host
