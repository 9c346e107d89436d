#include "soak/number_source.h"

#include <algorithm>

#include "filters/transport_stream_type.h"
#include "platform/clock.h"
#include "soak/numbered_sample.h"

namespace soak {

namespace {

using std::chrono::milliseconds;

constexpr std::int64_t kTicksPerMs = 10'000;
constexpr std::int64_t kPeriod = 10'000'000 / 1500;
/// How long a sample waits in the sender.
constexpr std::int64_t kLead = 60 * kTicksPerMs;
constexpr std::int32_t kBuffers = 1024;
constexpr std::int64_t kSendingMs = 30'000;
constexpr milliseconds kLook{1};
constexpr milliseconds kFlushEnd{2};

void waitUntil(std::int64_t time) {
    const std::int64_t early = time - mcgate::platform::monotonicTime();
    std::this_thread::sleep_for(milliseconds(std::max<std::int64_t>(early / kTicksPerMs, 0)));
}

}  // namespace

NumberSource::NumberSource(const SoakTime& time, Handovers& handovers)
    : time_(time),
      handovers_(handovers),
      feeder_(new test::FeedingFilter(mcgate::host::transportStreamType(0), kBuffers,
                                      static_cast<std::int32_t>(kSampleSize))) {}

void NumberSource::start() {
    thread_ = std::jthread([this](const std::stop_token& ending) { stream(ending); });
}

bool NumberSource::drain() {
    thread_ = {};  // asks it to end, and waits
    return healthy();
}

void NumberSource::stream(const std::stop_token& ending) {
    std::int64_t due = mcgate::platform::monotonicTime();
    for (bool first = true; !ending.stop_requested(); due += kPeriod) {
        waitUntil(due - kLead);
        const std::uint32_t number = handovers_.last() + 1;
        handovers_.note(number, time_.now());
        if (!deliver(number, due, first)) return;
        // A discontinuity makes the sender send all that it has at once: the lead is given when that is over.
        if (first && !waitUntilSent(number)) return;
        if (first) std::this_thread::sleep_for(kFlushEnd);
        first = false;
    }
    if (deliver(kPadding, due, false)) waitUntilSent(kPadding);
}

bool NumberSource::waitUntilSent(std::uint32_t number) {
    const std::int64_t deadline = time_.now() + kSendingMs;
    while (sent_ != number && time_.now() < deadline) std::this_thread::sleep_for(kLook);
    if (sent_ != number) healthy_ = false;
    return healthy();
}

// False when the graph is gone, too, which is no fault.
bool NumberSource::deliver(std::uint32_t number, std::int64_t time, bool discontinuity) {
    const test::FeedOptions options{.start = time, .discontinuity = discontinuity, .dataId = number};
    test::ComPtr<IMediaSample> sample;
    test::ComPtr<IMediaSample> spare;
    if (FAILED(feeder_->makeSample(numberedSample(number), options, sample))) return false;
    if (FAILED(feeder_->makeSample({}, {}, spare))) return false;
    spare.reset();  // a sender that finds no buffer free takes its queue for full and drops the sample
    if (SUCCEEDED(feeder_->output()->Deliver(sample.get()))) return true;
    healthy_ = false;
    return false;
}

}  // namespace soak
