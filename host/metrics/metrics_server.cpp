#include "metrics/metrics_server.h"

#include <httplib.h>

#include <utility>

namespace mcgate::host {

MetricsServer::MetricsServer(const ListenAddress& address, const std::string& version, Streams streams)
    : page_(version), streams_(std::move(streams)), server_(address, HttpLimits{}) {
    server_.routes().Get("/metrics", [this](const httplib::Request&, httplib::Response& response) {
        response.set_content(text(), MetricsPage::kType);
    });
    server_.start();
}

std::string MetricsServer::text() {
    const std::lock_guard hold(lock_);
    return page_.text(streams_());
}

}  // namespace mcgate::host
