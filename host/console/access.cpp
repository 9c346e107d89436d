#include "console/access.h"

#include <httplib.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "console/refusal.h"
#include "console/secrets.h"

namespace mcgate::host {

namespace {

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

// The token of "Bearer TOKEN" (RFC 6750, section 2.1), the scheme in any case; empty for another scheme.
std::string bearerToken(const httplib::Request& request) {
    static constexpr std::string_view kScheme = "bearer ";
    const std::string whole = only(request, "Authorization");
    return lowerCase(whole.substr(0, kScheme.size())) == kScheme ? whole.substr(kScheme.size()) : std::string();
}

void checkType(const httplib::Request& request) {
    const std::string whole = lowerCase(only(request, "Content-Type"));
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
    : names_(address),
      accessToken_(std::move(accessToken)),
      pageToken_(randomSecret()),
      cookie_("mcgate_access_" + std::to_string(address.address.port()) + "=" + randomSecret()) {}

void Access::check(const httplib::Request& request) const {
    const std::string host = lowerCase(only(request, "Host"));
    if (!names_.contains(host)) {
        throw Refusal(421, "the Host '" + host + "' is not served here; right would be " + names_.right());
    }
    checkOrigin(request, host);
    if (isChange(request)) {
        checkChange(request);
    } else if (request.method != "GET" && request.method != "HEAD") {
        throw Refusal(405, "the method is " + request.method + "; right would be GET, POST or PUT");
    }
    if (!accessToken_.empty() && isInterface(request) && !hasCookie(request, cookie_) && !hasToken(request)) {
        throw Refusal(401, "the access token is missing; right would be a login");
    }
}

bool Access::offersToken(const httplib::Request& request) {
    return request.method == "GET" && request.path == "/metrics" && request.has_header("Authorization");
}

bool Access::hasToken(const httplib::Request& request) const {
    return offersToken(request) && equalInConstantTime(bearerToken(request), accessToken_);
}

void Access::checkOrigin(const httplib::Request& request, const std::string& host) const {
    const std::string origin = lowerCase(only(request, "Origin"));
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
