#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "filters/sample_mark.h"
#include "foundation/thread.h"
#include "media/host/base_filter.h"
#include "media/host/base_output_pin.h"
#include "platform/waitable.h"
#include "ts/packet_reader.h"
#include "ts/packet_stamper.h"

namespace mcgate::host {

struct TsFileSourceOptions {
    std::string path;   ///< "-" is standard input
    bool paced = true;  ///< run at most one second ahead of the graph's clock
    bool loop = false;
    std::function<bool()> stopRequested = [] { return false; };  ///< looked at while the beginning is read
    std::function<void(const SampleMark& mark)> beforeSample = [](const SampleMark&) {};
};

struct SourceFigures {
    std::uint64_t samples = 0;
    std::uint64_t bytes = 0;  ///< of the input, without the padding at its end
    PacketReader::Place place;
    std::string error;  ///< what ended the stream early, if anything did
};

/// Reads a transport stream and delivers it in samples of seven packets, stamped by its PCRs, each with a data id (1,
/// 2, ...).
///
/// The sender drops every sample that finds its pool without a free buffer, so one is kept free before each delivery,
/// and the source runs no more than a second ahead of the clock. The last bytes of a stream leave the sender only when
/// more come: at the end, seven null packets push them out and stay behind themselves. A discontinuity makes the sender
/// send all that it holds at once, so the source lets its lead leave before each and builds it anew behind it.
///
/// An input that breaks off ends as one that is over does, with the reason in the figures; what downstream or the pool
/// refuses ends with EC_ERRORABORT.
///
/// Threads: graph threads, and a streaming thread between Active and Inactive. Inactive stops it without any lock that
/// it takes: the clock is fetched before it starts, and the pool is decommitted before it is joined.
class TsFileSource final : public CBaseFilter {
public:
    /// Reads ahead, from the second PCR to a second of stream. Throws std::runtime_error for an input that is no
    /// transport stream with PCRs, StoppedEarly.
    static platform::ComPtr<TsFileSource> create(const TsFileSourceOptions& options);

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override;
    SourceFigures figures();
    std::uint32_t bitRate() const noexcept { return bitRate_; }
    /// True once all of the input has been delivered and has left. The sender tells of that once in its life.
    bool isOver() const noexcept { return over_.load(); }

private:
    class Pin;
    explicit TsFileSource(const TsFileSourceOptions& options);
    ~TsFileSource() override;

    void probe();
    void settleRate();
    PacketReader::Result readPacket();
    std::string whyUnpaced() const;
    HRESULT startStreaming();
    void stopStreaming();
    void stream();
    bool deliverAll();
    bool refill();
    bool check(HRESULT status, const char* step);
    void keepFailure() noexcept;
    bool onEnd();
    bool deliverNext();
    bool deliver(const StampedPacket* packets, std::size_t count, bool padding);
    HRESULT fill(IMediaSample& sample, const StampedPacket* packets, std::size_t count, bool discontinuity);
    bool letFlushEnd(std::int64_t time);
    bool waitForPace(std::int64_t time);
    bool waitUntilAllBack();

    const TsFileSourceOptions options_;
    CCritSec filterLock_;
    std::unique_ptr<Pin> pin_;
    PacketReader reader_;
    PacketStamper stamper_;
    std::vector<StampedPacket> fresh_;
    std::deque<StampedPacket> ready_;
    std::uint32_t bitRate_ = 0;
    bool ended_ = false;
    std::atomic<bool> over_{false};
    bool passIsEmpty_ = true;  ///< no packet yet since the input's beginning
    bool first_ = true;
    std::int64_t lastTime_ = 0;
    std::int64_t clockOrigin_ = 0;
    std::uint64_t nextId_ = 1;
    platform::ComPtr<IReferenceClock> streamClock_;
    platform::Event stopEvent_{platform::Event::Reset::Manual};
    std::unique_ptr<quorvel::system::thread::v1::Thread> thread_;
    std::mutex figuresLock_;
    SourceFigures figures_;
};

}  // namespace mcgate::host
