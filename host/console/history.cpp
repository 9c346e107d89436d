#include "console/history.h"

#include <algorithm>
#include <limits>

namespace mcgate::host {

namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t kLateSeconds = 2;  // a look may come that long after the last

template <class Number>
double orUnknown(const std::optional<Number>& value) {
    return value ? static_cast<double>(*value) : kUnknown;
}

}  // namespace

History::History() {
    for (Values& values : values_) values.fill(kUnknown);
}

void History::look(std::int64_t second, const StreamSnapshot& snapshot) {
    if (last_ < 0) first_ = second;
    if (last_ >= 0 && second <= last_) return;
    const std::int64_t gap = std::max(last_ < 0 ? second : last_ + 1, second - kSeconds + 1);
    for (std::int64_t passed = gap; passed < second; ++passed) at(passed).fill(kUnknown);

    const bool fresh = snapshot.turn != before_.turn || last_ < 0;
    if (snapshot.state == StreamState::Stopped) {
        at(second).fill(kUnknown);
    } else if (fresh) {
        at(second) = valuesOf(snapshot);
    } else {
        const Values held = at(last_);
        at(second) = held;
        if (second - renewed_ > kLateSeconds) at(second).fill(kUnknown);
    }
    if (fresh || snapshot.state == StreamState::Stopped) {
        before_ = snapshot;
        renewed_ = second;
    }
    last_ = second;
}

History::Values History::valuesOf(const StreamSnapshot& snapshot) const {
    const StreamValues& now = snapshot.values;
    Values values{};
    values[BitRate] = snapshot.bitRate;
    values[HoldBack] = orUnknown(now.holdBackMs);
    values[Queued] = orUnknown(now.queuedSamples);
    values[Datagrams] =
        perTurn(snapshot, now.receivedDatagrams ? &StreamValues::receivedDatagrams : &StreamValues::datagrams);
    const bool silent = values[Datagrams] == 0;  // the last second's error is that of one long ago
    values[SpacingError] = now.spacing && !silent ? now.spacing->lastP99Ms : kUnknown;
    values[ContinuityErrors] = perTurn(snapshot, &StreamValues::continuityErrors);
    values[KernelDrops] = perTurn(snapshot, &StreamValues::kernelDrops);
    values[Data] = now.dataPresent ? 1 : 0;
    return values;
}

// A stream that was run anew counts from 0 again.
double History::perTurn(const StreamSnapshot& snapshot, std::optional<std::uint64_t> StreamValues::*counter) const {
    const auto now = snapshot.values.*counter;
    const auto before = before_.state == StreamState::Stopped ? std::nullopt : before_.values.*counter;
    if (!now || !before || last_ < 0 || snapshot.turn <= before_.turn) return kUnknown;
    const std::uint64_t came = *now >= *before ? *now - *before : *now;
    return static_cast<double>(came) / static_cast<double>(snapshot.turn - before_.turn);
}

nlohmann::ordered_json History::series(std::int64_t second) const {
    static constexpr const char* kNames[] = {"bit_rate",  "spacing_error_ms",  "hold_back_ms", "queued_samples",
                                             "datagrams", "continuity_errors", "kernel_drops", "data"};
    nlohmann::ordered_json result;
    for (std::size_t figure = 0; figure < kFigures; ++figure) {
        auto& row = result[kNames[figure]] = nlohmann::ordered_json::array();
        for (std::int64_t passed = second - kSeconds + 1; passed <= second; ++passed) {
            const bool looked = passed >= first_ && passed <= last_ && passed > last_ - kSeconds;
            const double value = looked ? values_[static_cast<std::size_t>(passed % kSeconds)][figure] : kUnknown;
            row.push_back(value);
        }
    }
    return result;
}

}  // namespace mcgate::host
