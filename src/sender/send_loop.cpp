#include "sender/send_loop.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "foundation/log_exception.h"
#include "media/sample_helpers.h"

namespace {

constexpr std::uint32_t kSettleMs = 1000;
constexpr std::int32_t kLongestLength = 0xFFFF;  // lengths travel in 16 bits
constexpr std::int32_t kLongPiece = 43 * 1500;   // the largest whole number of datagrams below that
constexpr std::size_t kRecordSize = 256;
constexpr std::size_t kRecordTime = 8;

// Times may be anything that a sample carries: differences wrap rather than overflow.
std::int64_t add(std::int64_t left, std::int64_t right) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}
std::int64_t subtract(std::int64_t left, std::int64_t right) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) - static_cast<std::uint64_t>(right));
}

// Truncated toward zero, and clamped: a clock may show anything.
std::int64_t toTicks(double seconds) {
    constexpr double kLargest = 9.2e18;
    if (std::isnan(seconds)) return 0;
    return static_cast<std::int64_t>(std::clamp(seconds * 10'000'000.0, -kLargest, kLargest));
}

}  // namespace

void reportCrossing(CrossingSlot& slot, IMediaSample& sample) {
    if (slot.get() == nullptr) return;
    void* found = nullptr;
    if (FAILED(sample.QueryInterface(IMediaSample3::iid, &found))) return;
    const auto extended = mcgate::platform::ComPtr<IMediaSample3>::attach(static_cast<IMediaSample3*>(found));
    std::uint64_t id = 0;
    if (!GetSampleDataId(*extended, id)) return;
    slot.invoke([id](auto& callback) { callback.OnDataCrossing(id); });
}

SendLoop::SendLoop(SendState& state, SendLoopEnvironment environment)
    : state_(state), environment_(std::move(environment)) {
    localClock_ = quorvel::clock_corrector::newClock(environment_.localTime);
    referenceClock_ = quorvel::clock_corrector::newClock([this] { return referenceTime(); });
    startClocks();
}

double SendLoop::referenceTime() {
    const auto clock = environment_.referenceClock();
    return clock ? static_cast<double>(GetClockTime(*clock)) / 10'000'000.0 : -1.0;
}

void SendLoop::startClocks() {
    constexpr double kSlope = 1.0;
    constexpr double kTimeConstant = 1.0;
    constexpr double kSlopeGain = 0.0;  // keeps the slope for the thread's life
    const double local = localClock_->time();
    double reference = -1.0;
    try {
        reference = referenceClock_->time();
    } catch (...) {
        logException();
    }
    correctedClock_ = quorvel::clock_corrector::newCorrectedClock(local, reference, kSlope, kTimeConstant, kSlopeGain);
}

bool SendLoop::turn() {
    if (environment_.waitForStop(0)) return false;
    if (state_.flushRequested.load() == 1 && !flushSeen) rebase();
    mcgate::platform::ComPtr<IMediaSample> sample;
    if (!state_.queue.tryPop(sample)) {
        onEmptyQueue();
        if (!state_.queue.pop(sample, state_.stopEvent)) return false;
    }
    bool paced = isPaced();
    if (paced && environment_.referenceClock()) {
        try {
            const auto wait = pacingWait(*sample);
            if (wait && environment_.waitForStop(*wait)) return false;
        } catch (...) {
            logException();
            paced = false;
        }
    }
    if (paced) tellWhenStabilized();
    sendSample(*sample);
    return true;
}

void SendLoop::rebase() {
    clockStart = kUnset;
    sampleStart = kUnset;
    stabilizationOffset = 0;
    flushSeen = true;
}

// State first, lines after it: whatever a log does, a turn that begins anew finds things as they are.
void SendLoop::onEmptyQueue() {
    if (state_.pacingEnabled.load(std::memory_order_relaxed) && state_.flushRequested.load() != 1) growOffset();
    const bool flushed = state_.flushRequested.load() == 1;
    state_.flushRequested.exchange(0);
    flushSeen = false;
    if (flushed) environment_.log.Log(2, "Flush end");
}

void SendLoop::growOffset() {
    const std::int64_t before = stabilizationOffset;
    const bool first = !std::exchange(stabilizing, true);
    stabilizationOffset += kTicksPerMillisecond;
    stabilizationTick = environment_.tick();
    if (first) logOffsets("Time offset stabilizing from", before);
}

bool SendLoop::isPaced() const {
    return state_.pacingEnabled.load(std::memory_order_relaxed) && state_.flushRequested.load() != 1 &&
           !state_.streamIsTimeStamped.load(std::memory_order_relaxed);
}

// Milliseconds to wait, or nothing for a late sample. Only differences are compared: sample times and clock times never
// meet, so both may start anywhere.
std::optional<std::uint32_t> SendLoop::pacingWait(IMediaSample& sample) {
    const double local = localClock_->time();
    const double reference = referenceClock_->time();
    correctedClock_->update(local, reference);
    const auto now = toTicks(correctedClock_->time());
    if (clockStart == kUnset) clockStart = now;
    const std::int64_t sampleTime = HasSampleTime(sample) ? GetSampleStartTime(sample) : 0;
    if (sampleStart == kUnset) sampleStart = sampleTime;
    const std::int64_t holdBack = add(state_.timeOffset.load(std::memory_order_relaxed), stabilizationOffset);
    const std::int64_t target = add(subtract(sampleTime, sampleStart), holdBack);
    const std::int64_t elapsed = subtract(now, clockStart);
    if (target < elapsed) return std::nullopt;
    constexpr std::int64_t kLongestWait = mcgate::platform::kInfinite - 1;
    return static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(subtract(target, elapsed) / kTicksPerMillisecond, 0, kLongestWait));
}

void SendLoop::tellWhenStabilized() {
    if (!stabilizing || environment_.tick() - stabilizationTick <= kSettleMs) return;
    stabilizing = false;
    logOffsets("Time offset stabilized to", stabilizationOffset);
}

void SendLoop::sendSample(IMediaSample& sample) {
    try {
        std::uint8_t* data = nullptr;
        if (FAILED(sample.GetPointer(&data))) return;
        const std::int32_t length = sample.GetActualDataLength();
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        const HRESULT timed = sample.GetTime(&start, &stop);
        if (timed == VFW_E_SAMPLE_TIME_NOT_SET) start = 0;
        if (!state_.streamIsTimeStamped.load(std::memory_order_relaxed)) {
            sendPlain(data, length, start);
        } else if (timed == S_OK || timed == VFW_S_NO_STOP_TIME) {
            sendTimeStamped(data, length, start);
        }
        reportCrossing(state_.outputCrossingCallback, sample);
    } catch (...) {
        logException();
    }
}

void SendLoop::sendPlain(const std::uint8_t* data, std::int32_t length, REFERENCE_TIME start) {
    auto& sender = environment_.netSender();
    if (length <= kLongestLength) {
        sender.sendAggregated(data, static_cast<std::uint16_t>(std::max(length, 0)), start);
        return;
    }
    // A sample of this size is cut every 1500 bytes wherever it is split here: the first piece pushes out what was
    // gathered. A destination that fails during one piece must not cost the pieces behind it.
    std::exception_ptr failure;
    for (std::int32_t offset = 0; offset < length; offset += kLongPiece) {
        const auto size = static_cast<std::uint16_t>(std::min(kLongPiece, length - offset));
        try {
            if (offset == 0) {
                sender.sendAggregated(data, size, start);
            } else {
                sender.sendChunked(data + offset, size, start);
            }
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    if (failure) std::rethrow_exception(failure);
}

void SendLoop::sendTimeStamped(const std::uint8_t* data, std::int32_t length, REFERENCE_TIME start) {
    static_assert(std::endian::native == std::endian::little, "the time travels in little-endian order");
    std::array<std::uint8_t, kRecordSize> record;
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    if (size > kRecordSize - kRecordTime) {
        throw std::runtime_error("time-stamped sample of " + std::to_string(size) + " bytes refused: at most 248 fit");
    }
    std::memcpy(record.data(), &start, kRecordTime);
    std::memcpy(record.data() + kRecordTime, data, size);
    environment_.netSender().sendChunked(record.data(), static_cast<std::uint16_t>(size + kRecordTime), 0);
}

void SendLoop::logException() noexcept { mcgate::foundation::logCurrentException(environment_.log); }

void SendLoop::logOffsets(const char* progress, std::int64_t grown) {
    environment_.log.Log(2, "%s %d+%d ms", progress,
                         static_cast<int>(state_.timeOffset.load(std::memory_order_relaxed) / kTicksPerMillisecond),
                         static_cast<int>(grown / kTicksPerMillisecond));
}
