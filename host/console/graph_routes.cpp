#include <httplib.h>

#include <charconv>

#include "cli/url.h"
#include "console/rate_limit.h"
#include "console/routes.h"

namespace mcgate::host {

namespace {

using Request = httplib::Request;
using Response = httplib::Response;

constexpr const char* kStream = "application/octet-stream";
constexpr std::chrono::seconds kSilence{2};  // after which an open stream is told that we live

void addStates(httplib::Server& server, Console& console) {
    static constexpr std::pair<const char*, StreamState> kStates[] = {
        {"run", StreamState::Running}, {"pause", StreamState::Paused}, {"stop", StreamState::Stopped}};
    for (const auto& [name, state] : kStates) {
        server.Post(std::string(R"(/api/graphs/(\d+)/)") + name,
                    [&console, wanted = state](const Request& request, Response& response) {
                        bodyOf(request);
                        answer(response, console.bring(numberOf(request, 1), wanted));
                    });
    }
}

void addList(httplib::Server& server, Console& console) {
    server.Get("/api/graphs", [&console](const Request&, Response& response) {
        auto list = console.graphs();
        list["version"] = MCGATE_VERSION;
        list["limits"] = {{"graphs", StreamSet::kMost}};
        answer(response, list);
    });
    server.Post("/api/graphs", [&console](const Request& request, Response& response) {
        answer(response, console.add(bodyOf(request)), 201);
    });
    server.Post(R"(/api/graphs/(\d+)/remove)", [&console](const Request& request, Response& response) {
        bodyOf(request);
        console.remove(numberOf(request, 1));
        answer(response, nlohmann::ordered_json::object());
    });
    server.Get(R"(/api/graphs/(\d+)/history)", [&console](const Request& request, Response& response) {
        answer(response, console.history(numberOf(request, 1)));
    });
}

void addConfigurations(httplib::Server& server, Console& console) {
    const std::string pattern = R"(/api/graphs/(\d+)/stream/(sender|receiver))";
    server.Get(pattern, [&console](const Request& request, Response& response) {
        const auto content = console.saved(numberOf(request, 1), request.matches[2]);
        response.set_header("Content-Disposition", "attachment");
        response.set_content(std::string(content.begin(), content.end()), kStream);
    });
    server.Put(pattern, [&console](const Request& request, Response& response) {
        answer(response,
               console.load(numberOf(request, 1), request.matches[2], {request.body.begin(), request.body.end()}));
    });
}

void addProfile(httplib::Server& server, Console& console) {
    server.Get("/api/profile", [&console](const Request&, Response& response) { answer(response, console.profile()); });
    // What is saved is what the streams have now, so nobody saves what another page changed back.
    server.Put("/api/profile", [&console](const Request& request, Response& response) {
        bodyOf(request);
        console.saveProfile();
        answer(response, nlohmann::ordered_json::object());
    });
}

void addMetrics(httplib::Server& server, Console& console) {
    server.Get("/metrics", [&console](const Request&, Response& response) {
        response.set_content(console.metrics(), MetricsPage::kType);
    });
}

// 0, before all lines, for one who doesn't ask for some.
std::uint64_t afterIn(const Request& request) {
    if (!request.has_param("after")) return 0;
    const std::string text = request.get_param_value("after");
    std::uint64_t after = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), after);
    if (error == std::errc() && stop == text.data() + text.size()) return after;
    throw UsageError("'after' is '" + text + "'; right would be the seq of a line, or 0 for all lines");
}

void addEvents(httplib::Server& server, Console& console) {
    server.Get("/api/log", [&console](const Request& request, Response& response) {
        answer(response, console.log().since(afterIn(request)));
    });
    server.Get("/api/events", [&console](const Request& request, Response& response) {
        auto reader = console.events().open(clientOf(request.remote_addr));
        response.set_chunked_content_provider("text/event-stream",
                                              [reader = std::move(reader)](std::size_t, httplib::DataSink& sink) {
                                                  const auto events = reader->next(kSilence);
                                                  if (!events) {
                                                      sink.done();
                                                      return true;
                                                  }
                                                  std::string text;
                                                  for (const auto& event : *events) text += *event;
                                                  if (text.empty()) text = ":\n\n";
                                                  return sink.write(text.data(), text.size());
                                              });
    });
}

}  // namespace

void addGraphRoutes(httplib::Server& server, Console& console) {
    addStates(server, console);
    addList(server, console);
    addConfigurations(server, console);
    addProfile(server, console);
    addMetrics(server, console);
    addEvents(server, console);
}

}  // namespace mcgate::host
