#include "check/interfaces.h"

#include <stdexcept>

#include "platform/adapters.h"
#include "platform/errors.h"
#include "platform/socket.h"

namespace mcgate::host {

std::vector<Interface> listInterfaces() {
    std::vector<platform::Adapter> adapters;
    if (!platform::listAllAdapters(adapters)) {
        throw std::runtime_error("the system doesn't tell its interfaces: error " +
                                 std::to_string(platform::lastError()));
    }
    std::vector<Interface> result;
    for (const auto& adapter : adapters) {
        Interface one;
        one.index = adapter.index;
        one.name = adapter.name;
        one.up = (adapter.flags & platform::AdapterUp) != 0;
        one.running = adapter.running;
        one.multicast = (adapter.flags & platform::AdapterMulticast) != 0;
        one.loopback = (adapter.flags & platform::AdapterLoopback) != 0;
        for (const auto& unicast : adapter.unicast) one.addresses.push_back(unicast.address);
        result.push_back(std::move(one));
    }
    return result;
}

const char* stateOf(const Interface& one) {
    if (!one.up) return "down";
    return one.running ? "up" : "no carrier";
}

std::string describe(const Interface& one) {
    std::string text = one.name;
    for (const auto& address : one.addresses) text += " " + platform::numericText(address);
    return text;
}

}  // namespace mcgate::host
