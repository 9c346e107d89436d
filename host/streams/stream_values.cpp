#include "streams/stream_values.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace mcgate::host {

std::vector<StreamValues::Destination> StreamValues::lostDestinations() const {
    std::vector<Destination> lost;
    std::copy_if(destinations.begin(), destinations.end(), std::back_inserter(lost), std::mem_fn(&Destination::isLost));
    return lost;
}

std::string StreamValues::lostText() const {
    std::string text;
    for (const auto& [url, fault] : lostDestinations()) {
        text.append(text.empty() ? "" : "; ").append(url).append(": ").append(fault);
    }
    return text;
}

void StreamValues::measure(const StreamMeter::Figures& figures) {
    continuityErrors = figures.continuityErrors;
    if (figures.spacing.samples > 0) spacing = figures.spacing;
}

void StreamValues::keepWhatAStopTakes(const StreamValues& before) {
    dataPresent = before.dataPresent;
    kernelDrops = before.kernelDrops;
    kernelDropsHint = before.kernelDropsHint;
}

}  // namespace mcgate::host
