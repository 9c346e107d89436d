#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "cli/demand.h"
#include "cli/way_back.h"
#include "filters/ts_stamper.h"
#include "interfaces/class_ids.h"
#include "streams/graph_base.h"
#include "streams/receiver_end.h"
#include "streams/sender_end.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kShortLook{10};
constexpr std::chrono::milliseconds kDrainRoom{1000};    // beyond the hold-back
constexpr std::chrono::milliseconds kDrainUnpaced{100};  // the private stream leaves as it comes
constexpr std::int32_t kBuffers = 16 << 10;              // 32 MiB, for each second that datagrams may be held back

// What is sent to where it is received goes round for ever.
std::string circleText(const std::string& to, const std::string& input) {
    return to + ": the relay would receive what it sends; right would be another address or port than in " + input;
}

SenderOptions senderOptions(const RelaySettings& settings) {
    return {settings.to, {}, {}, settings.offsetMs, !settings.pacing};
}

/// Receiver and sender, with a stamper between them for a transport stream.
class RelayGraph final : public GraphBase {
public:
    RelayGraph(const StreamSettings& settings, NoticeSink notices, std::function<bool()> stop)
        : GraphBase(settings, std::move(notices), std::move(stop), std::get<RelaySettings>(settings.of).offsetMs),
          settings_(std::get<RelaySettings>(settings.of)),
          receiver_({settings_.input, {}, settings_.timeoutMs}, log(), sink()),
          sender_(senderOptions(settings_), log(), sink()) {}
    ~RelayGraph() override { end(); }

    ComPtr<IBaseFilter> sender() const override { return ComPtr<IBaseFilter>(sender_.filter()); }
    std::uint64_t datagrams() override { return sender_.counter().counts().datagrams; }
    ComPtr<IBaseFilter> receiver() const override { return ComPtr<IBaseFilter>(receiver_.filter()); }

private:
    void build(FilterGraph& graph) override {
        stamper_ = {};
        receiver_.restart();
        sender_.restart();
        constexpr const char* kStep = "can't build the graph";
        demand(graph.addFilter(receiver_.filter(), "receiver"), kStep);
        if (settings_.privateStream) {
            demand(graph.addFilter(sender_.filter(), "sender"), kStep);
            const CMediaType type(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
            demand(graph.connect(receiver_.output().get(), sender_.input().get(), &type), "can't connect the sender");
            return;
        }
        stamper_ = TsStamper::create(stamping());
        demand(graph.addFilter(stamper_.get(), "stamper"), kStep);
        demand(graph.addFilter(sender_.filter(), "sender"), kStep);
        demand(graph.connect(receiver_.output().get(), stamper_->GetPin(0)), "can't connect the receiver");
        demand(graph.connect(stamper_->GetPin(1), sender_.input().get()), "can't connect the sender");
    }
    TsStamperOptions stamping() {
        TsStamperOptions options;
        options.paced = settings_.pacing;
        options.silenceMs = static_cast<std::uint32_t>(settings_.timeoutMs);
        options.buffers =
            kBuffers * (1 + static_cast<std::int32_t>(std::max<std::int64_t>(settings_.offsetMs, 0) / 1000));
        auto& counter = sender_.counter();
        options.beforeSample = [&counter](const SampleMark& mark) { counter.announce(mark); };
        return options;
    }
    void beforeStart(FilterGraph& graph) override {
        sender_.prepare(graph, stopRequested());
        lookForCircle();
        if (!circle_.empty()) throw std::runtime_error(circle_);
    }
    void afterStart() override { sender_.confirm(); }
    // A page may have changed both ends since the settings were looked at, and the receiver goes there at once.
    void lookForCircle() {
        circle_.clear();
        const auto from = receiver_.present();
        for (const auto& to : sender_.inUse()) {
            if (!from || !comesBack(to.kept, *from)) continue;
            circle_ = circleText(to.text, receiver_.source());
            return;
        }
    }
    bool isOver() const override { return !circle_.empty(); }
    // The sender starts first, and alone logs why it doesn't.
    std::string whyNotStarted(HRESULT status) override {
        const std::string error = log().lastError();
        return error.empty() ? receiver_.whyNot(status) : "can't start: " + error;
    }
    void take(const FilterGraph::Event& event) override { sender_.heed(event); }
    StreamValues measure() override {
        if (circle_.empty()) lookForCircle();  // one that was seen is the reason, whatever a page mends meanwhile
        StreamValues result;
        const StamperFigures figures = stamper_ ? stamper_->figures() : StamperFigures{};
        sender_.fill(result, figures.samples);
        if (stamper_) {
            result.receivedDatagrams = figures.datagrams;
            result.receivedBytes = figures.bytes;
            result.measure(figures.stream);
        } else {
            // Samples of the private stream carry no ids, so nobody counts them, and none is held back.
            result.holdBackMs.reset();
            result.datagrams = result.bytes = result.droppedSamples = result.queuedSamples = std::nullopt;
        }
        receiver_.fill(result);
        return result;
    }
    StreamValues halt(FilterGraph& graph, const StreamValues& before) override {
        drain();
        sender_.filter()->Stop();
        StreamValues last = measure();
        last.keepWhatAStopTakes(before);
        graph.stop();
        return last;
    }
    // What was received before the stop leaves at its pace.
    void drain() {
        receiver_.filter()->Stop();
        const auto patience =
            stamper_ ? std::chrono::milliseconds(std::max(log().holdBackMs(), 0)) + kDrainRoom : kDrainUnpaced;
        const auto until = Clock::now() + patience;
        while (Clock::now() < until && (!stamper_ || sender_.counter().counts().queued > 0)) heed(kShortLook);
    }
    std::string reason(const StreamValues& last) override {
        if (!circle_.empty()) return circle_;
        if (!stamper_ || last.datagrams != 0 || log().lastError().empty()) return {};
        return "no datagram went out to all destinations: " + log().lastError();
    }
    void readBack(StreamSettings& settings) const override {
        auto& relay = std::get<RelaySettings>(settings.of);
        relay.input = receiver_.source();
        relay.timeoutMs = std::clamp(receiver_.timeoutMs(), kLeastRelayTimeoutMs, kMostTimeoutMs);
        auto present = sender_.destinations();
        if (!present.empty()) relay.to = std::move(present);
    }

    const RelaySettings settings_;
    ReceiverEnd receiver_;
    SenderEnd sender_;
    ComPtr<TsStamper> stamper_;
    std::string circle_;  ///< in which it goes round, as last looked for
};

}  // namespace

std::unique_ptr<StreamGraph> makeRelayGraph(const StreamSettings& settings, NoticeSink sink,
                                            std::function<bool()> stopRequested) {
    const auto& relay = std::get<RelaySettings>(settings.of);
    for (const auto& to : relay.to) {
        if (!comesBack(parseSendUrl(to), parseReceiveUrl(relay.input))) continue;
        throw UsageError("--to " + circleText(to, relay.input));
    }
    return std::make_unique<RelayGraph>(settings, std::move(sink), std::move(stopRequested));
}

}  // namespace mcgate::host
