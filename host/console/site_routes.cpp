#include <httplib.h>

#include <map>

#include "console/not_found.h"
#include "console/refusal.h"
#include "console/routes.h"
#include "console/site_files.h"

namespace mcgate::host {

namespace {

std::string typeOf(std::string_view path) {
    static const std::map<std::string_view, const char*> kTypes{{"html", "text/html; charset=utf-8"},
                                                                {"js", "text/javascript; charset=utf-8"},
                                                                {"css", "text/css; charset=utf-8"},
                                                                {"svg", "image/svg+xml"}};
    const auto found = kTypes.find(path.substr(path.rfind('.') + 1));
    return found != kTypes.end() ? found->second : "text/plain; charset=utf-8";
}

// The page with its token in place.
std::string pageWith(std::string_view page, const std::string& token) {
    static constexpr std::string_view kPlace = "@MCGATE_TOKEN@";
    const auto place = page.find(kPlace);
    if (place == std::string_view::npos) throw std::logic_error("the page has no place for its token");
    return std::string(page.substr(0, place)) + token + std::string(page.substr(place + kPlace.size()));
}

}  // namespace

void addSite(httplib::Server& server, const Access& access) {
    std::map<std::string, std::string> files;
    for (const SiteFile& file : siteFiles()) files.emplace(file.path, file.bytes);
    server.Get("/", [page = pageWith(files["/index.html"], access.pageToken())](const auto&, auto& response) {
        response.set_content(page, typeOf(".html"));
    });
    server.Get(R"(/assets/[\w.]+)", [files](const httplib::Request& request, httplib::Response& response) {
        const auto found = files.find(request.path);
        if (found == files.end()) throw NotFound("there is no " + request.path);
        response.set_content(found->second, typeOf(found->first));
    });
    server.Post("/login", [&access](const httplib::Request& request, httplib::Response& response) {
        const nlohmann::json body = bodyOf(request);
        const auto token = body.find("token");
        if (token == body.end() || !token->is_string()) {
            throw Refusal(422, "the body has no token; right would be {\"token\": \"...\"}");
        }
        response.set_header("Set-Cookie", access.admit(*token));
        answer(response, nlohmann::ordered_json::object());
    });
}

}  // namespace mcgate::host
