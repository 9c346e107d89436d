#include <httplib.h>

#include "console/refusal.h"
#include "console/routes.h"

namespace mcgate::host {

namespace {

int numberIn(const nlohmann::json& body, const char* name) {
    const auto found = body.find(name);
    if (found != body.end() && found->is_number_integer()) {
        const auto number = found->get<std::int64_t>();
        if (number == static_cast<int>(number)) return static_cast<int>(number);
    }
    throw Refusal(422, std::string("the body has no number '") + name + "'; right would be {\"" + name +
                           (std::string(name) == "selection" ? "\": 0}" : "\": 1005}"));
}

std::string textIn(const nlohmann::json& body) {
    const auto found = body.find("text");
    if (found != body.end() && found->is_string()) return *found;
    throw Refusal(422, R"(the body has no text; right would be {"text": "..."} or {"selection": 0})");
}

}  // namespace

void addPageRoutes(httplib::Server& server, Console& console) {
    PropertyPages& pages = console.pages();
    const std::string page = R"(/api/graphs/(\d+)/pages/(\d+))";
    const auto numbers = [](const httplib::Request& request) {
        return std::pair(numberOf(request, 1), static_cast<int>(numberOf(request, 2)));
    };
    server.Get(page, [&pages, numbers](const httplib::Request& request, httplib::Response& response) {
        const auto [stream, number] = numbers(request);
        answer(response, pages.dialog(stream, number));
    });
    server.Put(page + R"(/controls/(\d+))", [&pages, numbers](const httplib::Request& request,
                                                              httplib::Response& response) {
        const auto [stream, number] = numbers(request);
        const int control = static_cast<int>(numberOf(request, 3));
        const nlohmann::json body = bodyOf(request);
        answer(response, body.contains("selection") ? pages.select(stream, number, control, numberIn(body, "selection"))
                                                    : pages.setText(stream, number, control, textIn(body)));
    });
    server.Post(page + "/command", [&console, numbers](const httplib::Request& request, httplib::Response& response) {
        const auto [stream, number] = numbers(request);
        answer(response, console.press(stream, number, numberIn(bodyOf(request), "control")));
    });
}

}  // namespace mcgate::host
