#include "http/listen_address.h"

#include <charconv>

#include "cli/url.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

constexpr const char* kRight = "ADDRESS:PORT or PORT, such as 127.0.0.1:9100, [::1]:9100 or 9100";

[[noreturn]] void refuse(const std::string& text, const std::string& reason) {
    throw UsageError("'" + text + "': " + reason + "; right would be " + kRight);
}

std::uint16_t portOf(const std::string& text, const std::string& digits) {
    unsigned port = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, port);
    if (error != std::errc() || stop != end || port < 1 || port > 65535) {
        refuse(text, "'" + digits + "' is no port (1 to 65535)");
    }
    return static_cast<std::uint16_t>(port);
}

}  // namespace

std::string ListenAddress::text() const {
    const std::string host = platform::numericText(address);
    const bool six = address.family() == platform::kFamilyIPv6;
    return (six ? "[" + host + "]" : host) + ":" + std::to_string(address.port());
}

bool ListenAddress::isLoopback() const noexcept {
    if (address.family() == platform::kFamilyIPv4) return address.address()[0] == 127;
    return platform::numericText(address) == "::1";
}

ListenAddress parseListenAddress(const std::string& text) {
    const auto colon = text.rfind(':');
    std::string host = colon == std::string::npos ? "127.0.0.1" : text.substr(0, colon);
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (bracketed) host = host.substr(1, host.size() - 2);
    if (bracketed != (host.find(':') != std::string::npos)) {
        refuse(text, "an IPv6 address, and nothing else, stands in brackets");
    }
    ListenAddress result;
    const std::uint16_t port = portOf(text, text.substr(colon == std::string::npos ? 0 : colon + 1));
    if (host.empty() || platform::resolveNumeric(host, port, result.address) != 0) {
        refuse(text, "'" + host + "' is no numeric address (names are not looked up)");
    }
    if (isMulticast(result.address)) refuse(text, host + " is a group, not an address of this machine");
    return result;
}

}  // namespace mcgate::host
