#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "check/interfaces.h"
#include "cli/commands.h"
#include "foundation/status.h"
#include "platform/adapters.h"
#include "platform/socket.h"
#include "util/interface_list.h"

namespace mcgate::host {

namespace {

using nlohmann::ordered_json;

// As words in network byte order: what the property pages of this host have in their lists.
std::vector<std::uint32_t> offeredAddresses() {
    const HRESULT filled = util::FillInterfaceListOnce();
    if (FAILED(filled)) {
        std::fprintf(stderr, "mcgate: the property pages can't offer any interface: %s\n",
                     GetStatusText(filled).c_str());
        return {};
    }
    constexpr std::uint32_t kOffered = platform::AdapterUp | platform::AdapterMulticast;
    std::vector<std::uint32_t> words;
    for (const auto& entry : util::interfaceList()) {
        if ((entry.iiFlags & kOffered) == kOffered) words.push_back(entry.iiAddress.word());
    }
    return words;
}

bool isOffered(const platform::SocketAddress& address, const std::vector<std::uint32_t>& offered) {
    return address.family() == platform::kFamilyIPv4 &&
           std::find(offered.begin(), offered.end(), address.ipv4Word()) != offered.end();
}

ordered_json jsonOf(const Interface& one, const std::vector<std::uint32_t>& offered) {
    ordered_json addresses = ordered_json::array();
    for (const auto& address : one.addresses) {
        addresses.push_back({{"address", platform::numericText(address)},
                             {"family", address.family() == platform::kFamilyIPv6 ? "IPv6" : "IPv4"},
                             {"offered", isOffered(address, offered)}});
    }
    return {{"index", one.index},         {"name", one.name},         {"state", stateOf(one)},
            {"multicast", one.multicast}, {"loopback", one.loopback}, {"addresses", addresses}};
}

void printLine(const Interface& one, const std::vector<std::uint32_t>& offered) {
    std::printf("%-5u %-15s %-10s %-9s", one.index, one.name.c_str(), stateOf(one), one.multicast ? "yes" : "no");
    for (const auto& address : one.addresses) {
        std::printf(" %s%s", platform::numericText(address).c_str(), isOffered(address, offered) ? "*" : "");
    }
    std::printf("%s\n", one.addresses.empty() ? " none" : "");
}

}  // namespace

int runInterfaces(const InterfacesOptions& options) {
    const auto offered = offeredAddresses();
    const auto all = listInterfaces();
    if (options.json) {
        ordered_json interfaces = ordered_json::array();
        for (const auto& one : all) interfaces.push_back(jsonOf(one, offered));
        std::printf("%s\n", ordered_json{{"interfaces", interfaces}}.dump().c_str());
        return 0;
    }
    std::printf("%-5s %-15s %-10s %-9s %s\n", "index", "name", "state", "multicast", "addresses");
    for (const auto& one : all) printLine(one, offered);
    std::printf("* the property pages offer it: IPv4, set up, multicast\n");
    return 0;
}

}  // namespace mcgate::host
