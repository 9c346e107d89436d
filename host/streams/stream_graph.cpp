#include "streams/stream_graph.h"

#include <utility>

#include "streams/graph_base.h"

namespace mcgate::host {

std::unique_ptr<StreamGraph> makeStreamGraph(const StreamSettings& settings, NoticeSink sink,
                                             std::function<bool()> stopRequested, const ConfigurationFiles& files) {
    switch (settings.kind()) {
        case StreamKind::Send:
            return makeSendGraph(settings, std::move(sink), std::move(stopRequested), files);
        case StreamKind::Receive:
            return makeReceiveGraph(settings, std::move(sink), std::move(stopRequested), files);
        default:
            return makeRelayGraph(settings, std::move(sink), std::move(stopRequested));
    }
}

}  // namespace mcgate::host
