#include "metrics/metrics_server.h"

#include <httplib.h>

#include <utility>

#include "http/own_names.h"

namespace mcgate::host {

MetricsServer::MetricsServer(const ListenAddress& address, const std::string& version, Streams streams)
    : page_(version), streams_(std::move(streams)), server_(address, HttpLimits{}) {
    // Where other machines come in, their monitors know this one by names of their own.
    if (address.isLoopback()) {
        server_.routes().set_pre_routing_handler([names = OwnNames(server_.address())](const httplib::Request& request,
                                                                                       httplib::Response& response) {
            const std::string host = lowerCase(request.get_header_value("Host"));
            if (names.contains(host)) return httplib::Server::HandlerResponse::Unhandled;
            response.status = 421;
            response.set_content("the Host '" + host + "' is not served here; right would be " + names.right() + "\n",
                                 "text/plain; charset=utf-8");
            return httplib::Server::HandlerResponse::Handled;
        });
    }
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
