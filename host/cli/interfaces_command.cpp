#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "check/interfaces.h"
#include "cli/commands.h"
#include "foundation/status.h"
#include "io/standard_output.h"
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

std::string lineOf(const Interface& one, const std::vector<std::uint32_t>& offered) {
    std::string line =
        fmt::format("{:<5} {:<15} {:<10} {:<9}", one.index, one.name, stateOf(one), one.multicast ? "yes" : "no");
    for (const auto& address : one.addresses) {
        line += ' ' + platform::numericText(address) + (isOffered(address, offered) ? "*" : "");
    }
    return line + (one.addresses.empty() ? " none\n" : "\n");
}

}  // namespace

int runInterfaces(const InterfacesOptions& options) {
    const auto offered = offeredAddresses();
    const auto all = listInterfaces();
    if (options.json) {
        ordered_json interfaces = ordered_json::array();
        for (const auto& one : all) interfaces.push_back(jsonOf(one, offered));
        writeStandardOutput(ordered_json{{"interfaces", interfaces}}.dump() + '\n');
        return 0;
    }
    std::string text =
        fmt::format("{:<5} {:<15} {:<10} {:<9} {}\n", "index", "name", "state", "multicast", "addresses");
    for (const auto& one : all) text += lineOf(one, offered);
    writeStandardOutput(text + "* the property pages offer it: IPv4, set up, multicast\n");
    return 0;
}

}  // namespace mcgate::host
