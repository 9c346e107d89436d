#include "streams/stream_counts.h"

namespace mcgate::host {

StreamCounts countsOf(const StreamValues& values, StreamKind kind) {
    StreamCounts counts;
    if (kind == StreamKind::Receive) {
        counts.of[StreamCounts::ReceivedDatagrams] = values.datagrams;
        counts.of[StreamCounts::ReceivedBytes] = values.bytes;
    } else {
        counts.of[StreamCounts::SentDatagrams] = values.datagrams;
        counts.of[StreamCounts::SentBytes] = values.bytes;
        counts.of[StreamCounts::ReceivedDatagrams] = values.receivedDatagrams;
        counts.of[StreamCounts::ReceivedBytes] = values.receivedBytes;
    }
    counts.of[StreamCounts::DroppedSamples] = values.droppedSamples;
    counts.of[StreamCounts::KernelDrops] = values.kernelDrops;
    counts.of[StreamCounts::ContinuityErrors] = values.continuityErrors;
    counts.of[StreamCounts::BufferFull] = values.bufferFullNotices;
    counts.of[StreamCounts::DataOutages] = values.dataOutages;
    return counts;
}

void RunningSums::beginRun() {
    before_ = sums();
    now_ = {};
}

void RunningSums::follow(const StreamCounts& now) {
    bool fell = false;
    for (std::size_t i = 0; i < now.of.size(); ++i) fell = fell || (now.of[i] && *now.of[i] < now_.of[i].value_or(0));
    if (fell) beginRun();
    for (std::size_t i = 0; i < now.of.size(); ++i) {
        if (now.of[i]) now_.of[i] = now.of[i];  // one that can't be told for the moment stays
    }
}

StreamCounts RunningSums::sums() const {
    StreamCounts result = now_;
    for (std::size_t i = 0; i < result.of.size(); ++i) {
        if (before_.of[i]) result.of[i] = *before_.of[i] + now_.of[i].value_or(0);
    }
    return result;
}

}  // namespace mcgate::host
