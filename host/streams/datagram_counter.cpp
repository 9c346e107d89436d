#include "streams/datagram_counter.h"

#include <chrono>
#include <ratio>

namespace mcgate::host {

namespace {

constexpr std::size_t kDatagram = 1500;
// While a destination fails nothing crosses out, however long: more than this is never in the sender's pool.
constexpr std::size_t kMostInside = 200'000;
constexpr std::size_t kMostUnmeasured = 200'000;  // two seconds of 1 Gbit/s, when nobody asks

}  // namespace

std::int64_t DatagramCounter::steadyTicks() {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    return std::chrono::duration_cast<Ticks>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void DatagramCounter::announce(const SampleMark& mark) {
    const std::lock_guard hold(lock_);
    announced_ = mark;
}

void DatagramCounter::entered(std::uint64_t id) {
    const std::lock_guard hold(lock_);
    ++counts_.accepted;
    if (inside_.size() == kMostInside) inside_.pop_front();
    SampleMark known;
    known.id = id;
    inside_.push_back(id == announced_.id ? announced_ : known);
}

void DatagramCounter::left(std::uint64_t id) {
    const std::int64_t now = now_();
    const std::lock_guard hold(lock_);
    while (!inside_.empty() && inside_.front().id <= id) {
        gather(inside_.front(), now);
        inside_.pop_front();
    }
}

void DatagramCounter::gather(const SampleMark& sample, std::int64_t now) {
    if (gathered_.bytes != 0 && gathered_.bytes + sample.bytes > kDatagram) {
        count(gathered_, 1, gathered_.bytes, now);
        gathered_ = {};
    }
    if (sample.bytes >= kDatagram) {
        count(sample, (sample.bytes + kDatagram - 1) / kDatagram, sample.bytes, now);
        return;
    }
    const std::size_t bytes = gathered_.bytes + sample.bytes;
    if (gathered_.bytes == 0) gathered_ = sample;
    gathered_.bytes = bytes;
}

void DatagramCounter::count(const SampleMark& first, std::size_t datagrams, std::size_t bytes, std::int64_t now) {
    counts_.datagrams += datagrams;
    counts_.bytes += bytes;
    if (!measures_ || departures_.size() == kMostUnmeasured) return;
    departures_.push_back({first.time, now - first.time, first.discontinuity});
}

DatagramCounter::Counts DatagramCounter::counts() const {
    const std::lock_guard hold(lock_);
    Counts result = counts_;
    result.queued = inside_.size();
    return result;
}

std::optional<SpacingMeter::Figures> DatagramCounter::spacing() {
    {
        const std::lock_guard hold(lock_);
        departures_.swap(measured_);
    }
    for (const auto& [place, delay, discontinuity] : measured_) {
        if (discontinuity) spacing_.cut(place);
        spacing_.reach(place);
        spacing_.add(delay);
    }
    measured_.clear();
    const auto figures = spacing_.figures();
    return figures.samples > 0 ? std::optional(figures) : std::nullopt;
}

void DatagramCounter::restart(bool measuresSpacing) {
    spacing_ = {};
    const std::lock_guard hold(lock_);
    counts_ = {};
    announced_ = gathered_ = {};
    inside_.clear();
    measures_ = measuresSpacing;
    departures_.clear();
}

}  // namespace mcgate::host
