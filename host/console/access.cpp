#include "console/access.h"

#include <httplib.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "console/refusal.h"
#include "console/secrets.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

constexpr const char* kCookie = "mcgate_access=";

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

std::string only(const httplib::Request& request, const char* name) {
    if (request.get_header_value_count(name) > 1) {
        throw Refusal(400, std::string("the request has several ") + name + " headers; right would be one");
    }
    return request.get_header_value(name);
}

bool isChange(const httplib::Request& request) { return request.method == "POST" || request.method == "PUT"; }

bool isInterface(const httplib::Request& request) {
    return request.path.starts_with("/api/") || request.path == "/metrics";
}

// Whether the address in front of a port is a number, which no foreign name can be made to point at.
bool isNumeric(std::string host) {
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    platform::SocketAddress address;
    return !host.empty() && platform::resolveNumeric(host, 1, address) == 0;
}

bool isUnspecified(const ListenAddress& listening) {
    const std::string text = platform::numericText(listening.address);
    return text == "0.0.0.0" || text == "::";
}

// A cookie of the request (RFC 6265, section 4.2).
bool hasCookie(const httplib::Request& request, const std::string& expected) {
    const std::string header = request.get_header_value("Cookie");
    std::string_view rest = header;
    while (!rest.empty()) {
        const std::string_view pair = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
        if (equalInConstantTime(pair.substr(std::min(pair.find_first_not_of(' '), pair.size())), expected)) return true;
    }
    return false;
}

void checkType(const httplib::Request& request) {
    const std::string whole = lower(only(request, "Content-Type"));
    const bool stream = request.path.find("/stream/") != std::string::npos;
    const std::string right = stream ? "application/octet-stream" : "application/json";
    if (whole == right || (!stream && whole == right + "; charset=utf-8")) return;
    throw Refusal(415, "the content type is '" + whole + "'; right would be " + right);
}

void checkLength(const httplib::Request& request) {
    if (request.has_header("Transfer-Encoding") || !request.has_header("Content-Length")) {
        throw Refusal(411, "the request doesn't tell its length; right would be a Content-Length");
    }
    const std::string text = only(request, "Content-Length");
    std::size_t length = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, length);
    if (error == std::errc::result_out_of_range || length > Access::kMostBody) {
        throw Refusal(
            413, "the body has " + text + " bytes; right would be " + std::to_string(Access::kMostBody) + " at most");
    }
    if (error != std::errc() || stop != end) {
        throw Refusal(400, "the Content-Length is '" + text + "'; right would be a number of bytes");
    }
}

}  // namespace

Access::Access(const ListenAddress& address, std::string accessToken)
    : anyAddress_(isUnspecified(address)),
      port_(":" + std::to_string(address.address.port())),
      hosts_{"127.0.0.1" + port_, "localhost" + port_, "[::1]" + port_, address.text()},
      accessToken_(std::move(accessToken)),
      pageToken_(randomSecret()),
      cookie_(kCookie + randomSecret()) {}

bool Access::isOwnHost(const std::string& host) const {
    const std::string full = port_ == ":80" && !host.ends_with(port_) ? host + port_ : host;
    if (std::find(hosts_.begin(), hosts_.end(), full) != hosts_.end()) return true;
    return anyAddress_ && full.ends_with(port_) && isNumeric(full.substr(0, full.size() - port_.size()));
}

void Access::check(const httplib::Request& request) const {
    const std::string host = lower(only(request, "Host"));
    if (!isOwnHost(host)) {
        const std::string right = anyAddress_ ? "a numeric address with " + port_ : hosts_.back();
        throw Refusal(421, "the Host '" + host + "' is not served here; right would be " + right);
    }
    checkOrigin(request, host);
    if (isChange(request)) {
        checkChange(request);
    } else if (request.method != "GET" && request.method != "HEAD") {
        throw Refusal(405, "the method is " + request.method + "; right would be GET, POST or PUT");
    }
    if (!accessToken_.empty() && isInterface(request) && !hasCookie(request, cookie_)) {
        throw Refusal(401, "the access token is missing; right would be a login");
    }
}

void Access::checkOrigin(const httplib::Request& request, const std::string& host) const {
    const std::string origin = lower(only(request, "Origin"));
    if (origin != "http://" + host && (!origin.empty() || isChange(request))) {
        throw Refusal(403, "the Origin is '" + origin + "'; right would be http://" + host);
    }
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    if (isInterface(request) && (site == "cross-site" || site == "same-site")) {
        throw Refusal(403, "another site's page asks; right would be the page of http://" + host);
    }
}

void Access::checkChange(const httplib::Request& request) const {
    if (!equalInConstantTime(only(request, "X-Mcgate-Token"), pageToken_)) {
        throw Refusal(403, "the page token is not that of this program; right would be that of a fresh page");
    }
    checkType(request);
    checkLength(request);
}

std::string Access::admit(const std::string& token) const {
    if (accessToken_.empty()) throw Refusal(409, "no access token is demanded here; right would be no login");
    if (!equalInConstantTime(token, accessToken_)) throw Refusal(401, "the access token is wrong");
    return cookie_ + "; Path=/; HttpOnly; SameSite=Strict";
}

}  // namespace mcgate::host
