#include "http/own_names.h"

#include <algorithm>

#include "platform/socket.h"

namespace mcgate::host {

namespace {

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

}  // namespace

OwnNames::OwnNames(const ListenAddress& address)
    : anyAddress_(isUnspecified(address)),
      port_(":" + std::to_string(address.address.port())),
      hosts_{"127.0.0.1" + port_, "localhost" + port_, "[::1]" + port_, address.text()} {}

bool OwnNames::contains(const std::string& host) const {
    const std::string full = port_ == ":80" && !host.ends_with(port_) ? host + port_ : host;
    if (std::find(hosts_.begin(), hosts_.end(), full) != hosts_.end()) return true;
    return anyAddress_ && full.ends_with(port_) && isNumeric(full.substr(0, full.size() - port_.size()));
}

std::string OwnNames::right() const { return anyAddress_ ? "a numeric address with " + port_ : hosts_.back(); }

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

}  // namespace mcgate::host
