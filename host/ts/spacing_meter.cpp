#include "ts/spacing_meter.h"

#include <algorithm>
#include <cstdlib>

namespace mcgate::host {

namespace {

constexpr double kTicksPerMs = 10'000.0;

}  // namespace

void SpacingMeter::cut(std::int64_t streamTime) {
    secondEnds_ = streamTime + kSecond;
    if (delays_.empty()) return;
    const auto middle = delays_.begin() + static_cast<std::ptrdiff_t>(delays_.size() / 2);
    std::nth_element(delays_.begin(), middle, delays_.end());
    const std::int64_t median = *middle;
    for (std::int64_t& delay : delays_) {
        const std::int64_t error = delay = std::abs(delay - median);
        const auto bin = std::min(static_cast<std::size_t>(error / kBinWidth), kBins - 1);
        if (bin >= histogram_.size()) histogram_.resize(bin + 1);
        ++histogram_[bin];
        largest_ = std::max(largest_, error);
        ++figures_.samples;
    }
    const auto most = delays_.begin() + static_cast<std::ptrdiff_t>(99 * delays_.size() / 100);
    std::nth_element(delays_.begin(), most, delays_.end());
    figures_.lastP99Ms = static_cast<double>(*most) / kTicksPerMs;
    delays_.clear();
}

SpacingMeter::Figures SpacingMeter::figures() const {
    Figures result = figures_;
    if (result.samples == 0) return result;
    const double samples = static_cast<double>(result.samples);
    const auto half = static_cast<std::size_t>(0.5 * samples);
    const auto most = static_cast<std::size_t>(0.99 * samples);
    std::size_t seen = 0;
    for (std::size_t bin = 0; bin < histogram_.size() && seen <= most; ++bin) {
        const double place = static_cast<double>(bin) * kBinWidth / kTicksPerMs;
        if (seen <= half) result.medianMs = place;
        result.p99Ms = place;
        seen += histogram_[bin];
    }
    result.maxMs = static_cast<double>(largest_) / kTicksPerMs;
    return result;
}

}  // namespace mcgate::host
