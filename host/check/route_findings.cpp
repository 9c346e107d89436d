#include "check/route_findings.h"

#include <algorithm>

#include "platform/socket.h"

namespace mcgate::host {

namespace {

using platform::numericText;

std::string nameOf(std::uint32_t index, const std::vector<Interface>& all) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto& one) { return one.index == index; });
    return found == all.end() ? "interface " + std::to_string(index) : found->name;
}

// A group is routed by an entry of its own, or with all others; a host behind a router, by the router's address.
std::string addRoute(const Road& road, const std::string& name) {
    const bool six = road.family() == platform::kFamilyIPv6;
    if (!road.group) return "ip route add " + numericText(road.remote) + " dev " + name + " (via ROUTER behind one)";
    return six ? "ip -6 route add multicast " + numericText(road.remote) + " dev " + name + " table local"
               : "ip route add 224.0.0.0/4 dev " + name;
}

std::string by(const std::string& remote, const RouteAnswer& answer, const std::vector<Interface>& all) {
    return remote + " goes by " + nameOf(answer.interfaceIndex, all) + ", from " + numericText(answer.source);
}

constexpr int kStrict = 1;

std::string loosen(const Interface& one) { return "sysctl -w net/ipv4/conf/" + one.name + "/rp_filter=2"; }

Finding knownSource(const Road& road, const ReversePath& path, const Interface& one, const std::string& seen,
                    const std::vector<Interface>& all) {
    const std::string source = numericText(road.source);
    const RouteAnswer& back = *path.toSource;
    if (!back.open) {
        return fault("reverse-path", seen + "; no route leads back to " + source + ", so its datagrams are dropped",
                     "ip route add " + source + " dev " + one.name);
    }
    const std::string way = seen + "; the way back to " + source + " is " + nameOf(back.interfaceIndex, all);
    if (*path.mode != kStrict || back.interfaceIndex == one.index) return ok("reverse-path", way);
    return fault("reverse-path", way + ", so its datagrams on " + one.name + " are dropped",
                 "ip route add " + source + " dev " + one.name + ", or " + loosen(one));
}

}  // namespace

Finding routeFinding(const Road& road, const RouteAnswer& answer, const Interface* wanted,
                     const std::vector<Interface>& all) {
    const std::string remote = numericText(road.remote);
    if (!answer.open) {
        const std::string name = wanted == nullptr ? "NAME" : wanted->name;
        const std::string choice = wanted == nullptr && road.group ? ", or name the interface with ?local=ADDRESS" : "";
        return fault("route", remote + ": " + answer.refusal, addRoute(road, name) + choice);
    }
    const std::string seen = by(remote, answer, all);
    if (answer.broadcast) {
        return fault("route", seen + ", as a broadcast, which the system refuses to the sender",
                     "send to one host, or to a group such as 239.1.1.1");
    }
    if (wanted == nullptr || wanted->index == answer.interfaceIndex) return ok("route", seen);
    return warning("route", seen + ", and not by " + wanted->name + ", where the local address stands",
                   addRoute(road, wanted->name) + " if it is to go there");
}

Finding reportRouteFinding(const Road& road, const RouteAnswer& answer, const Interface& wanted,
                           const std::vector<Interface>& all) {
    const std::string remote = numericText(road.remote);
    if (answer.open && answer.interfaceIndex == wanted.index) return ok("route", by(remote, answer, all));
    const std::string seen = answer.open ? by(remote, answer, all) : remote + ": " + answer.refusal;
    return warning("route",
                   seen + "; the group is joined on " + wanted.name +
                       " all the same, but a switch there that forgot it isn't told anew",
                   "ip route add " + remote + " dev " + wanted.name);
}

Finding reversePathFinding(const Road& road, const ReversePath& path, const Interface& one,
                           const std::vector<Interface>& all) {
    if (!path.mode) return ok("reverse-path", one.name + ": the system doesn't tell its rp_filter");
    const std::string seen = one.name + ": rp_filter " + std::to_string(*path.mode);
    if (*path.mode == 0) return ok("reverse-path", seen + ", off");
    if (path.toSource) return knownSource(road, path, one, seen, all);
    if (path.heard || !path.listened) return ok("reverse-path", seen);
    const std::string remedy = "give the sender's address a route by " + one.name + ", or " + loosen(one);
    if (path.dropped.value_or(0) > 0) {
        return warning("reverse-path",
                       seen + "; it dropped " + std::to_string(*path.dropped) + " datagrams of some stream meanwhile",
                       remedy);
    }
    if (*path.mode != kStrict || path.dropped) return ok("reverse-path", seen + ", nothing dropped meanwhile");
    return warning("reverse-path", seen + ", strict: a sender whose way back is another interface isn't heard", remedy);
}

}  // namespace mcgate::host
