#include "check/interface_findings.h"

#include <algorithm>

#include "platform/socket.h"

namespace mcgate::host {

namespace {

std::string namesOf(const std::vector<Interface>& all) {
    std::string text;
    for (const auto& one : all) {
        if (!one.addresses.empty()) text += (text.empty() ? "" : ", ") + describe(one);
    }
    return text.empty() ? "none at all" : text;
}

bool carries(const Interface& one, const platform::SocketAddress& address) {
    return std::any_of(one.addresses.begin(), one.addresses.end(),
                       [&](const auto& each) { return sameAddress(each, address); });
}

}  // namespace

const Interface* carrierOf(const platform::SocketAddress& address, const std::vector<Interface>& all) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto& one) { return carries(one, address); });
    return found == all.end() ? nullptr : &*found;
}

Finding interfaceFinding(const platform::SocketAddress& local, const Interface* found,
                         const std::vector<Interface>& all) {
    const std::string text = platform::numericText(local);
    if (found != nullptr) {
        return ok("interface", text + " stands on " + found->name + " (index " + std::to_string(found->index) + ")");
    }
    return fault("interface", text + " is no address of this host",
                 "name one of its own as the local address (" + namesOf(all) +
                     "), or give it this one: ip address add " + text + "/PREFIX dev NAME");
}

Finding anyInterfaceFinding(const std::vector<Interface>& all) {
    std::string running;
    for (const auto& one : all) {
        if (one.running && !one.loopback) running += " " + one.name;
    }
    if (!running.empty()) return ok("interface", "all are listened on, of which these carry data:" + running);
    return warning("interface", "all are listened on, and none but loopback carries data",
                   "set one up (ip link set NAME up) and look at its cable, unless the sender runs on this host");
}

Finding noLinkFinding(const platform::SocketAddress& address) {
    const std::string text = platform::numericText(address);
    return fault("interface", text + " is an address of one link, and the URL doesn't say of which",
                 "[" + text + "%NAME] with the name of the interface");
}

Finding linkFinding(const Interface& one) {
    const std::string seen = one.name + ": " + stateOf(one);
    if (one.running) return ok("link", seen);
    if (!one.up) return fault("link", seen, "ip link set " + one.name + " up");
    return fault("link", seen, "look at the cable of " + one.name + " and at the port of the switch behind it");
}

// The loopback interface carries groups without the flag.
Finding multicastFinding(const Interface& one) {
    if (one.multicast) return ok("multicast", one.name + ": on");
    if (one.loopback) return ok("multicast", one.name + ": loopback, groups stay on this host");
    return warning("multicast", one.name + ": off", "ip link set " + one.name + " multicast on");
}

}  // namespace mcgate::host
