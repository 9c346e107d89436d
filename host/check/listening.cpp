#include "check/listening.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "cli/socket_table.h"
#include "platform/errors.h"

namespace mcgate::host {

namespace {

using State = PortAnswer::State;

std::string namesOf(const std::optional<std::vector<UdpSocket>>& holders) {
    if (!holders || holders->empty()) return "another socket; whose, the system doesn't tell";
    std::string text;
    for (const auto& one : *holders) {
        text += (text.empty() ? "" : ", ") + holderOf(one) + " at " + platform::numericText(one.local);
    }
    return text;
}

PortAnswer refused(const char* step, const std::optional<std::vector<UdpSocket>>& holders) {
    switch (platform::lastError()) {
        case platform::SocketAddressInUse:
            return {State::Taken, namesOf(holders), {}};
        case platform::SocketAccess:
            return {State::Forbidden, {}, {}};
        default:
            return {State::Failed, {}, std::string(step) + " failed with " + std::to_string(platform::lastError())};
    }
}

// Sockets that listen to groups alone: none of them loses anything to a unicast listener beside it.
bool areGroupListeners(const std::optional<std::vector<UdpSocket>>& holders) {
    return holders &&
           std::all_of(holders->begin(), holders->end(), [](const auto& one) { return isMulticast(one.local); });
}

// Other listeners to the same group.
std::vector<UdpSocket> sharersOf(const Road& road, const std::optional<std::vector<UdpSocket>>& holders) {
    std::vector<UdpSocket> sharers;
    if (!road.group || !holders) return sharers;
    std::copy_if(holders->begin(), holders->end(), std::back_inserter(sharers),
                 [&](const auto& one) { return sameAddress(one.local, road.remote); });
    return sharers;
}

}  // namespace

PortAnswer Listening::open(const Road& road, std::uint32_t interfaceIndex, std::int32_t buffer) {
    const auto holders = udpSocketsOn(road.port);
    socket_ = platform::Socket::openDatagram(road.family());
    if (!socket_.valid()) return refused("opening a socket", holders);
    socket_.setReceiveBuffer(buffer);
    socket_.setOwnGroupsOnly();
    if (!bind(road, interfaceIndex, road.group || areGroupListeners(holders))) return refused("bind", holders);
    if (road.group && !join(road, interfaceIndex)) return refused("joining the group", holders);
    const auto beside = sharersOf(road, holders);
    return beside.empty() ? PortAnswer{} : PortAnswer{State::Shared, namesOf(beside), {}};
}

// Without reuse the bind fails where anyone else holds the port.
bool Listening::bind(const Road& road, std::uint32_t interfaceIndex, bool beside) {
    if (beside && !socket_.setReuseAddress()) return false;
    if (road.group) return socket_.bindToGroup(road.remote, road.port, interfaceIndex);
    platform::SocketAddress local = road.local;
    local.setPort(road.port);
    return socket_.bind(local);
}

bool Listening::join(const Road& road, std::uint32_t interfaceIndex) {
    const auto level =
        road.family() == platform::kFamilyIPv6 ? platform::OptionLevel::IPv6 : platform::OptionLevel::IPv4;
    return socket_.join(level, interfaceIndex, road.remote, road.hasSource() ? &road.source : nullptr);
}

Heard Listening::hear(double seconds, const std::function<bool()>& stop) {
    using Clock = std::chrono::steady_clock;
    constexpr std::int32_t kLook = 100'000;
    constexpr std::size_t kLongest = 65536;
    std::vector<std::uint8_t> datagram(kLongest);
    Heard heard;
    const auto start = Clock::now();
    const auto since = [start] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    while (since() < seconds && !stop()) {
        if (!socket_.waitReadable(kLook)) continue;
        const std::int32_t length = socket_.receive(datagram.data(), datagram.size());
        if (length >= 0) heard.add(datagram.data(), static_cast<std::size_t>(length), since());
    }
    heard.setListened(since());
    return heard;
}

}  // namespace mcgate::host
