#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/demand.h"
#include "cli/receiver_end.h"
#include "cli/stop_signal.h"
#include "filters/ts_stamper.h"
#include "interfaces/class_ids.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::milliseconds kShortLook{10};
constexpr std::chrono::milliseconds kDrainRoom{1000};    // beyond the hold-back
constexpr std::chrono::milliseconds kDrainUnpaced{100};  // the private stream leaves as it comes
constexpr std::int32_t kBuffers = 16 << 10;              // 32 MiB, for each second that datagrams may be held back

bool comesBack(const SendUrl& to, const ReceiveUrl& from) {
    if (to.port != from.port) return false;
    if (isGroup(from.group)) return to.remote == from.group;
    const bool all = from.local == from.group;  // the any address: every address of that family
    const bool sameFamily = (to.remote.find(':') == std::string::npos) == (from.local.find(':') == std::string::npos);
    return all ? sameFamily && isOwn(to.remote) : to.remote == from.local;
}

// What is sent to where it is received goes round for ever.
void checkNoCircle(const RelayOptions& options) {
    const ReceiveUrl from = parseReceiveUrl(options.url);
    for (const auto& text : options.destinations) {
        if (!comesBack(parseSendUrl(text), from)) continue;
        throw UsageError("--to " + text +
                         ": the relay would receive what it sends; right would be another address or " +
                         "port than in " + options.url);
    }
}

/// One run of the relaying graph: receiver and sender, with a stamper between them for a transport stream.
class Relaying {
public:
    explicit Relaying(const RelayOptions& options)
        : options_(options),
          log_(options.report, options.offsetMs),
          report_(options.report, "relay"),
          receiver_(options, log_, report_),
          sender_(options, log_, report_) {}
    ~Relaying() { graph_->tearDown(); }
    Relaying(const Relaying&) = delete;
    Relaying& operator=(const Relaying&) = delete;

    int run() {
        build();
        sender_.letClockSettle(*graph_);
        start();
        while (!stopRequested() && !timeIsUp() && !FAILED(failure_)) {
            heedEvents(kLook);
            if (!report_.due()) continue;
            log_.tellFullBuffers();
            report_.write(values(), false);
        }
        log_.tellFullBuffers();
        const StreamValues before = values();
        drain();
        sender_.filter()->Stop();
        StreamValues last = values();
        last.dataPresent = before.dataPresent;
        last.kernelDrops = before.kernelDrops;
        last.kernelDropsHint = before.kernelDropsHint;
        graph_->stop();
        report_.write(last, true);
        return conclude(last);
    }

private:
    void build() {
        constexpr const char* kStep = "can't build the graph";
        demand(graph_->addFilter(receiver_.filter(), "receiver"), kStep);
        if (options_.privateStream) {
            demand(graph_->addFilter(sender_.filter(), "sender"), kStep);
            const CMediaType type(MEDIATYPE_PrivateTimeStamped, MEDIASUBTYPE_PrivateTimeStamped);
            demand(graph_->connect(receiver_.output().get(), sender_.input().get(), &type), "can't connect the sender");
            return;
        }
        TsStamperOptions stamping;
        stamping.paced = !options_.noPacing;
        stamping.silenceMs = static_cast<std::uint32_t>(options_.timeoutMs);
        stamping.buffers =
            kBuffers * (1 + static_cast<std::int32_t>(std::max<std::int64_t>(options_.offsetMs, 0) / 1000));
        auto& counter = sender_.counter();
        stamping.beforeSample = [&counter](std::uint64_t id, std::size_t bytes) { counter.announce(id, bytes); };
        stamper_ = TsStamper::create(stamping);
        demand(graph_->addFilter(stamper_.get(), "stamper"), kStep);
        demand(graph_->addFilter(sender_.filter(), "sender"), kStep);
        demand(graph_->connect(receiver_.output().get(), stamper_->GetPin(0)), "can't connect the receiver");
        demand(graph_->connect(stamper_->GetPin(1), sender_.input().get()), "can't connect the sender");
    }
    // The sender starts first, and alone logs why it doesn't.
    void start() {
        const HRESULT started = graph_->run();
        started_ = Clock::now();
        if (SUCCEEDED(started)) return;
        const std::string error = log_.lastError();
        throw std::runtime_error(error.empty() ? receiver_.whyNot(started) : "can't start: " + error);
    }
    void heedEvents(std::chrono::milliseconds patience) {
        const auto event = graph_->nextEvent(patience);
        if (!event) return;
        sender_.heed(*event);
        if (event->code == EC_ERRORABORT) failure_ = static_cast<HRESULT>(event->p1);
    }
    bool timeIsUp() const {
        const std::chrono::duration<double> whole = Clock::now() - started_;
        return options_.durationSeconds > 0 && whole.count() >= options_.durationSeconds;
    }
    // What was received before the stop leaves at its pace.
    void drain() {
        receiver_.filter()->Stop();
        const auto patience =
            stamper_ ? std::chrono::milliseconds(std::max(log_.holdBackMs(), 0)) + kDrainRoom : kDrainUnpaced;
        const auto end = Clock::now() + patience;
        while (Clock::now() < end && (!stamper_ || sender_.counter().counts().queued > 0)) heedEvents(kShortLook);
    }
    int conclude(const StreamValues& last) {
        std::string error;
        if (FAILED(failure_)) error = "the relay broke off: " + GetStatusText(failure_);
        if (stamper_ && last.datagrams == 0 && !log_.lastError().empty()) {
            error = "no datagram went out to all destinations: " + log_.lastError();
        }
        if (!error.empty()) std::fprintf(stderr, "mcgate: %s\n", error.c_str());
        return error.empty() ? 0 : 1;
    }
    StreamValues values() {
        StreamValues result;
        const StamperFigures figures = stamper_ ? stamper_->figures() : StamperFigures{};
        sender_.fill(result, figures.samples);
        if (stamper_) {
            result.receivedDatagrams = figures.datagrams;
            result.receivedBytes = figures.bytes;
            result.measure(figures.stream);
        } else {
            // Samples of the private stream carry no ids, so nobody counts them.
            result.datagrams = result.bytes = result.droppedSamples = result.queuedSamples = std::nullopt;
        }
        receiver_.fill(result);
        return result;
    }

    const RelayOptions& options_;
    HostLog log_;
    Report report_;
    ReceiverEnd receiver_;
    SenderEnd sender_;
    Clock::time_point started_;
    HRESULT failure_ = S_OK;  ///< that ended the run
    ComPtr<FilterGraph> graph_ = FilterGraph::create();
    ComPtr<TsStamper> stamper_;
};

}  // namespace

int runRelay(const RelayOptions& options) {
    checkNoCircle(options);
    return Relaying(options).run();
}

}  // namespace mcgate::host
