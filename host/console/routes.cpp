#include "console/routes.h"

#include <httplib.h>

#include <charconv>

#include "cli/url.h"
#include "console/not_found.h"
#include "console/rate_limit.h"
#include "console/refusal.h"
#include "http/http_server.h"
#include "streams/json_text.h"

namespace mcgate::host {

namespace {

constexpr std::size_t kLongestPath = 256;
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "form-action 'none'; base-uri 'none'; frame-ancestors 'none'";

void refuse(httplib::Response& response, int status, const std::string& text) {
    if (status == 429 || status == 503) response.set_header("Retry-After", "1");
    answer(response, {{"error", text}}, status);
}

/// How often a client may ask at all, and change something.
struct Limits {
    RateLimit requests{200, 400};
    RateLimit changes{20, 60};
    RateLimit logins{0.5, 5};

    void check(const httplib::Request& request) { demand(requests, request, "requests"); }
    void checkChange(const httplib::Request& request) {
        if (request.method != "POST" && request.method != "PUT") return;
        demand(changes, request, "changes");
        if (request.path == "/login") demand(logins, request, "logins");
    }
    /// A token that a request brings with it is a login, which counts unless it is the right one.
    void beginTry(const httplib::Request& request) {
        if (Access::offersToken(request)) demand(logins, request, "logins");
    }
    void succeed(const httplib::Request& request) {
        if (Access::offersToken(request)) logins.giveBack(clientOf(request.remote_addr));
    }

private:
    static void demand(RateLimit& limit, const httplib::Request& request, const std::string& what) {
        if (!limit.take(clientOf(request.remote_addr))) {
            throw Refusal(429, "too many " + what + " come from " + request.remote_addr + "; right would be fewer");
        }
    }
};

void refuse(httplib::Response& response, const std::exception_ptr& problem) {
    try {
        std::rethrow_exception(problem);
    } catch (const Refusal& refusal) {
        refuse(response, refusal.status(), refusal.what());
    } catch (const NotFound& missing) {
        refuse(response, 404, missing.what());
    } catch (const UsageError& wrong) {
        refuse(response, 422, wrong.what());
    } catch (const std::exception& failure) {
        refuse(response, 503, failure.what());
    }
}

}  // namespace

void answer(httplib::Response& response, const nlohmann::ordered_json& value, int status) {
    response.status = status;
    response.set_content(jsonText(value), "application/json");
}

nlohmann::json bodyOf(const httplib::Request& request) {
    auto value = parseJson(request.body, "the body", "a JSON object");
    if (value.is_object()) return value;
    throw UsageError("the body is no JSON object; right would be {...}");
}

std::uint32_t numberOf(const httplib::Request& request, std::size_t match) {
    const std::string text = request.matches[match];
    std::uint32_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) throw NotFound("nothing has the number " + text);
    return number;
}

void addGuard(httplib::Server& server, const Access& access) {
    server.set_default_headers({{"Content-Security-Policy", kPolicy},
                                {"X-Content-Type-Options", "nosniff"},
                                {"Referrer-Policy", "no-referrer"},
                                {"Cross-Origin-Resource-Policy", "same-origin"},
                                {"Cache-Control", "no-store"}});
    server.set_payload_max_length(Access::kMostBody);
    const auto limits = std::make_shared<Limits>();
    server.set_pre_routing_handler([&access, limits](const httplib::Request& request, httplib::Response& response) {
        try {
            limits->check(request);
            if (request.path.size() > kLongestPath) {
                throw Refusal(414, "the path has " + std::to_string(request.path.size()) + " bytes; right would be " +
                                       std::to_string(kLongestPath) + " at most");
            }
            limits->beginTry(request);
            access.check(request);
            limits->succeed(request);
            limits->checkChange(request);
            return httplib::Server::HandlerResponse::Unhandled;
        } catch (...) {
            refuse(response, std::current_exception());
            return httplib::Server::HandlerResponse::Handled;
        }
    });
    server.set_exception_handler([](const httplib::Request&, httplib::Response& response,
                                    const std::exception_ptr& problem) { refuse(response, problem); });
    // What the library itself refuses has no text yet.
    server.set_error_handler([](const httplib::Request& request, httplib::Response& response) {
        if (!response.body.empty()) return;
        HttpFault fault = HttpServer::faultOf(request, response.status);
        if (fault.status == 404) fault.text = "there is no " + request.method + " of " + request.path;
        if (fault.text.empty()) fault.text = "the request was refused with status " + std::to_string(fault.status);
        refuse(response, fault.status, fault.text);
    });
}

void addConsole(httplib::Server& server, Console& console, const Access& access) {
    addGuard(server, access);
    addSite(server, access);
    addGraphRoutes(server, console);
    addPageRoutes(server, console);
}

}  // namespace mcgate::host
