#include "cli/url.h"

#include <cctype>
#include <charconv>
#include <optional>

#include "platform/socket.h"

namespace mcgate::host {

namespace {

constexpr const char* kSendForm = "udp://ADDRESS:PORT[?local=ADDRESS], such as udp://239.1.1.1:5000";
constexpr const char* kReceiveForm =
    "udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS], such as udp://@239.1.1.1:5000 or udp://@:5000";

struct Parts {
    std::optional<std::string> source;  ///< what stands before the @, if there is one
    std::string address;
    std::uint16_t port = 0;
    std::string local;
};

[[noreturn]] void refuse(const std::string& url, const std::string& reason, const std::string& right) {
    throw UsageError("'" + url + "': " + reason + "; right would be " + right);
}

// Without the brackets in which an IPv6 address, and nothing else, stands.
std::string unbracket(const std::string& url, const std::string& text, const char* form) {
    const bool bracketed = text.size() >= 2 && text.front() == '[' && text.back() == ']';
    const bool six = text.find(':') != std::string::npos;
    if (six && !bracketed) refuse(url, "an IPv6 address stands in brackets, as in udp://[ff15::1]:5000", form);
    if (bracketed && !six) refuse(url, "'" + text + "': only an IPv6 address stands in brackets", form);
    return bracketed ? text.substr(1, text.size() - 2) : text;
}

platform::SocketAddress numeric(const std::string& url, const std::string& text, const char* form) {
    platform::SocketAddress address;
    if (platform::resolveNumeric(text, 0, address) != 0) {
        const auto link = text.find('%');
        if (link != std::string::npos && platform::resolveNumeric(text.substr(0, link), 0, address) == 0) {
            refuse(url, "there is no interface '" + text.substr(link + 1) + "'", form);
        }
        refuse(url, "'" + text + "' is no numeric address (names are not looked up, IPv6 stands in brackets)", form);
    }
    // "127.1" and "010.0.0.1" are numeric, too, but hardly ever mean what they are read as.
    if (address.family() == platform::kFamilyIPv4 && platform::numericText(address) != text) {
        refuse(url,
               "'" + text + "' is not written as four plain numbers; it would be read as " +
                   platform::numericText(address),
               form);
    }
    return address;
}

std::uint16_t parsePort(const std::string& url, const std::string& text, const char* form) {
    unsigned port = 0;
    const auto end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || stop != end || port < 1 || port > 65535) {
        refuse(url, "'" + text + "' is no port (1 to 65535)", form);
    }
    return static_cast<std::uint16_t>(port);
}

Parts split(const std::string& url, const char* form) {
    constexpr const char* kScheme = "udp://";
    if (url.rfind(kScheme, 0) != 0) refuse(url, "it does not begin with udp://", form);
    Parts parts;
    std::string rest = url.substr(6);
    if (const auto query = rest.find('?'); query != std::string::npos) {
        const std::string option = rest.substr(query + 1);
        if (option.rfind("local=", 0) != 0 || option.size() == 6) {
            refuse(url, "'" + option + "' is no option it knows", form);
        }
        parts.local = unbracket(url, option.substr(6), form);
        rest.resize(query);
    }
    if (const auto at = rest.find('@'); at != std::string::npos) {
        parts.source = unbracket(url, rest.substr(0, at), form);
        rest.erase(0, at + 1);
    }
    const auto colon = rest.rfind(':');
    if (colon == std::string::npos || (!rest.empty() && rest.back() == ']')) refuse(url, "it has no port", form);
    parts.address = unbracket(url, rest.substr(0, colon), form);
    parts.port = parsePort(url, rest.substr(colon + 1), form);
    return parts;
}

// The interface of a group: an any address names none, and the filters would take it for one that isn't there.
void checkNamesOne(const std::string& url, const std::string& local, const char* form) {
    if (isAny(numeric(url, local, form))) {
        refuse(url,
               "a group needs one interface, and local " + local + " names none (without 'local' the system chooses)",
               form);
    }
}

// A unicast address of the given family, for local and source.
void checkSide(const std::string& url, const std::string& what, const std::string& text, std::uint16_t family,
               const char* form) {
    const auto address = numeric(url, text, form);
    if (isMulticast(address) || isReserved(address)) refuse(url, what + " " + text + " is no unicast address", form);
    if (address.family() != family) refuse(url, what + " " + text + " is of another family than the address", form);
}

// A join from an any address is one from that very address: nothing would ever come.
void checkSource(const std::string& url, const std::string& source, std::uint16_t family) {
    checkSide(url, "source", source, family, kReceiveForm);
    if (isAny(numeric(url, source, kReceiveForm))) {
        refuse(url, "no sender has the address " + source + "; any source is meant when none stands before the '@'",
               kReceiveForm);
    }
}

std::string bracket(const std::string& address) {
    return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

// Empty for an any address, which no local or source of a URL may be.
std::string orNothing(const std::string& address) {
    platform::SocketAddress value;
    return platform::resolveNumeric(address, 0, value) == 0 && isAny(value) ? std::string() : address;
}

std::string optionText(const std::string& local) { return local.empty() ? local : "?local=" + bracket(local); }

}  // namespace

bool isReserved(const platform::SocketAddress& address) {
    return address.family() == platform::kFamilyIPv4 && address.address()[0] >= 240;
}

bool isGroup(const std::string& address) {
    platform::SocketAddress value;
    return platform::resolveNumeric(address, 0, value) == 0 && isMulticast(value);
}

SendUrl parseSendUrl(const std::string& text) {
    const Parts parts = split(text, kSendForm);
    if (parts.source) refuse(text, "a destination has no '@'", kSendForm);
    if (parts.address.empty()) refuse(text, "it has no address", kSendForm);
    const auto remote = numeric(text, parts.address, kSendForm);
    if (isReserved(remote) || isAny(remote)) {
        refuse(text, parts.address + " can't be sent to", kSendForm);
    }
    if (!parts.local.empty()) checkSide(text, "local", parts.local, remote.family(), kSendForm);
    if (!parts.local.empty() && isMulticast(remote)) checkNamesOne(text, parts.local, kSendForm);
    return {parts.address, parts.port, parts.local};
}

ReceiveUrl parseReceiveUrl(const std::string& text) {
    const Parts parts = split(text, kReceiveForm);
    if (!parts.source) refuse(text, "what is received stands behind an '@'", kReceiveForm);
    ReceiveUrl url;
    url.port = parts.port;
    url.source = *parts.source;
    url.local = parts.local;
    const std::string address = parts.address.empty() ? "0.0.0.0" : parts.address;
    const auto value = numeric(text, address, kReceiveForm);
    if (isReserved(value)) refuse(text, address + " is neither unicast nor multicast", kReceiveForm);
    const bool six = value.family() == platform::kFamilyIPv6;
    if (isMulticast(value)) {
        url.group = address;
        if (!url.local.empty()) checkSide(text, "local", url.local, value.family(), kReceiveForm);
        if (!url.local.empty()) checkNamesOne(text, url.local, kReceiveForm);
        if (!url.source.empty()) checkSource(text, url.source, value.family());
        return url;
    }
    if (!url.source.empty()) refuse(text, "a source needs a group behind the '@'", kReceiveForm);
    if (!url.local.empty() && !parts.address.empty()) {
        refuse(text, "the address behind the '@' is the local one, so 'local' has no place", kReceiveForm);
    }
    if (!url.local.empty()) {
        const auto local = numeric(text, url.local, kReceiveForm);
        checkSide(text, "local", url.local, local.family(), kReceiveForm);
        url.group = local.family() == platform::kFamilyIPv6 ? "::" : "0.0.0.0";
        return url;
    }
    url.local = address;
    url.group = six ? "::" : "0.0.0.0";
    return url;
}

std::string urlText(const SendUrl& url) {
    return "udp://" + bracket(url.remote) + ":" + std::to_string(url.port) + optionText(orNothing(url.local));
}

std::string urlText(const ReceiveUrl& url) {
    const std::string port = ":" + std::to_string(url.port);
    if (!isGroup(url.group)) return "udp://@" + bracket(url.local) + port;
    const std::string source = orNothing(url.source);
    return "udp://" + (source.empty() ? source : bracket(source)) + "@" + bracket(url.group) + port +
           optionText(orNothing(url.local));
}

std::string routedInterface(const std::string& remote) {
    platform::SocketAddress address;
    platform::SocketAddress local;
    if (platform::resolveNumeric(remote, 0, address) == 0 && platform::routedLocalAddress(address, local)) {
        return platform::numericText(local);
    }
    throw std::runtime_error("the system has no route to " + remote +
                             "; name the interface with ?local=ADDRESS, such as ?local=127.0.0.1");
}

}  // namespace mcgate::host
