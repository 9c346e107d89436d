#include "streams/stream_values.h"

namespace mcgate::host {

void StreamValues::measure(const StreamMeter::Figures& figures) {
    continuityErrors = figures.continuityErrors;
    if (figures.spacingSamples > 0) spacing = {figures.medianMs, figures.p99Ms, figures.maxMs, figures.lastP99Ms};
}

void StreamValues::keepWhatAStopTakes(const StreamValues& before) {
    dataPresent = before.dataPresent;
    kernelDrops = before.kernelDrops;
    kernelDropsHint = before.kernelDropsHint;
}

}  // namespace mcgate::host
