#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "http/http_server.h"
#include "metrics/metrics_page.h"

namespace mcgate::host {

/// Gives GET /metrics of an address what streams do, from its construction to its destruction; anything else is 404. On
/// the loopback interface it goes by its own names alone (OwnNames), so that no page of a browser reads it under
/// another. Threads: `streams` is called on the server's, at each request, one at a time under the server's lock: it
/// looks at what it has and waits for nothing but a leaf lock. So a slow client holds up other clients at most, see
/// HttpServer.
class MetricsServer {
public:
    using Streams = std::function<std::vector<StreamSet::View>()>;
    /// Throws std::runtime_error with the address and the system's reason.
    MetricsServer(const ListenAddress& address, const std::string& version, Streams streams);

    /// With the port that the system chose, where 0 was given.
    ListenAddress address() const { return server_.address(); }

private:
    std::string text();

    std::mutex lock_;  ///< over the page
    MetricsPage page_;
    const Streams streams_;
    HttpServer server_;  ///< last: its threads use the rest
};

}  // namespace mcgate::host
