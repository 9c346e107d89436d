#include "check/system_machine.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/errors.h"
#include "platform/routes.h"

namespace mcgate::host {

namespace {

std::optional<int> numberIn(const std::string& path) {
    int number = 0;
    if (std::ifstream(path) >> number) return number;
    return std::nullopt;
}

std::string refusalText(int error) {
    switch (error) {
        case platform::SocketNetworkUnreachable:
            return "no route";
        case platform::SocketHostUnreachable:
            return "a route says that it is unreachable";
        case platform::SocketAccess:
            return "a route prohibits it";
        case platform::SocketInvalid:
            return "a route throws it away";
        default:
            return "the system's answer is error " + std::to_string(error);
    }
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

}  // namespace

RouteAnswer SystemMachine::routeTo(const platform::SocketAddress& remote, const platform::SocketAddress& from,
                                   std::uint32_t interfaceIndex) {
    platform::Route route;
    if (!platform::findRoute(remote, from, interfaceIndex, route))
        return {false, 0, {}, refusalText(platform::lastError())};
    return {true, route.interfaceIndex, route.source, {}, route.broadcast};
}

std::optional<int> SystemMachine::reversePathMode(const std::string& interfaceName) {
    const auto all = numberIn("/proc/sys/net/ipv4/conf/all/rp_filter");
    const auto own = numberIn("/proc/sys/net/ipv4/conf/" + interfaceName + "/rp_filter");
    if (!all || !own) return std::nullopt;
    return std::max(*all, *own);
}

// The table has two lines a protocol: names, then values.
std::optional<std::uint64_t> SystemMachine::reversePathDrops() {
    std::ifstream table("/proc/net/netstat");
    std::string names;
    std::string values;
    while (std::getline(table, names) && std::getline(table, values)) {
        const auto name = wordsOf(names);
        const auto value = wordsOf(values);
        const auto found = std::find(name.begin(), name.end(), "IPReversePathFilter");
        const auto at = static_cast<std::size_t>(found - name.begin());
        if (at < value.size()) return std::stoull(value[at]);
    }
    return std::nullopt;
}

// On a thread of its own, since what a thread was given can't be taken back.
platform::PriorityClass SystemMachine::priorityGranted(int priority) {
    auto got = platform::PriorityClass::Normal;
    platform::NativeThread thread([&] { got = platform::setCurrentThreadPriority(priority); },
                                  platform::NativeThread::Start::Running);
    thread.wait();
    return got;
}

std::string SystemMachine::programPath() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).string();
}

}  // namespace mcgate::host
