#include "support/plain_sockets.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <stdexcept>

namespace test {

namespace {

constexpr int kLookMs = 20;

bool isSix(const std::string& address) { return address.find(':') != std::string::npos; }

bool isGroup(const Endpoint& endpoint) {
    if (endpoint.storage.ss_family == AF_INET6) {
        return reinterpret_cast<const sockaddr_in6*>(&endpoint.storage)->sin6_addr.s6_addr[0] == 0xFF;
    }
    const auto word = reinterpret_cast<const sockaddr_in*>(&endpoint.storage)->sin_addr.s_addr;
    return (ntohl(word) >> 28) == 0xE;
}

void require(bool done, const std::string& what) {
    if (!done) throw std::runtime_error(what + ": " + std::strerror(errno));
}

PlainSocket socketIn(const Host& host, int family) {
    std::optional<PlainSocket> made;
    host.run([&] { made.emplace(family); });
    return std::move(*made);
}

unsigned indexIn(const Host& host, const std::string& interfaceName) {
    unsigned index = 0;
    host.run([&] { index = if_nametoindex(interfaceName.c_str()); });
    require(index != 0, "no interface " + interfaceName);
    return index;
}

// For a listener that is slower than its stream for a while.
PlainSocket roomy(PlainSocket socket) {
    const int room = 8 << 20;
    if (setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room) == 0) return socket;
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    return socket;
}

PlainSocket tapOn(const Host& host, const std::string& interfaceName) {
    PlainSocket made = socketIn(host, AF_PACKET);  // deaf until it is bound
    sockaddr_ll where{};
    where.sll_family = AF_PACKET;
    where.sll_protocol = htons(ETH_P_ALL);
    where.sll_ifindex = static_cast<int>(indexIn(host, interfaceName));
    require(bind(made.get(), reinterpret_cast<sockaddr*>(&where), sizeof where) == 0, "can't tap");
    return made;
}

std::string text(int family, const void* address) {
    std::array<char, INET6_ADDRSTRLEN> buffer{};
    return inet_ntop(family, address, buffer.data(), buffer.size());
}

std::uint16_t word(const std::uint8_t* at) { return static_cast<std::uint16_t>(at[0] << 8 | at[1]); }

// The group records of an IGMPv3 or MLDv2 report; `at` stands at the count of records.
template <class Note>
void readRecords(const std::uint8_t* at, const std::uint8_t* end, int family, const std::string& kind, Note&& note) {
    static constexpr const char* kNames[] = {"?",          "is-include", "is-exclude", "to-include",
                                             "to-exclude", "allow",      "block"};
    const std::size_t size = family == AF_INET ? 4 : 16;
    int records = word(at);
    for (at += 2; records > 0 && at + 4 + size <= end; --records) {
        const std::string line = kind + " " + kNames[std::min<std::uint8_t>(at[0], 6)] + " " + text(family, at + 4);
        int sources = word(at + 2);
        at += 4 + size;
        if (sources == 0) note(line);
        for (; sources > 0 && at + size <= end; --sources, at += size) note(line + " " + text(family, at));
    }
}

template <class Note>
void readPacket(const std::uint8_t* packet, std::size_t size, Note&& note) {
    const std::uint8_t* end = packet + size;
    if (size >= 28 && packet[0] >> 4 == 4 && packet[9] == IPPROTO_IGMP) {
        const std::uint8_t* at = packet + (packet[0] & 15) * 4;
        if (at[0] == 0x16) note("igmp2 report " + text(AF_INET, at + 4));
        if (at[0] == 0x17) note("igmp2 leave " + text(AF_INET, at + 4));
        if (at[0] == 0x22) readRecords(at + 6, end, AF_INET, "igmp3", note);
    }
    // A listener report stands behind a hop-by-hop header of eight bytes.
    if (size >= 56 && packet[0] >> 4 == 6 && packet[6] == 0 && packet[40] == IPPROTO_ICMPV6 && packet[48] == 143) {
        readRecords(packet + 54, end, AF_INET6, "mld2", note);
    }
}

}  // namespace

Endpoint::Endpoint(const std::string& address, std::uint16_t port) {
    if (isSix(address)) {
        auto& six = *reinterpret_cast<sockaddr_in6*>(&storage);
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(port);
        inet_pton(AF_INET6, address.c_str(), &six.sin6_addr);
        length = sizeof six;
    } else {
        auto& four = *reinterpret_cast<sockaddr_in*>(&storage);
        four.sin_family = AF_INET;
        four.sin_port = htons(port);
        inet_pton(AF_INET, address.c_str(), &four.sin_addr);
        length = sizeof four;
    }
}

PlainSocket::PlainSocket(int family) : descriptor_(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    require(descriptor_ >= 0, "no socket");
}

PlainSocket::~PlainSocket() {
    if (descriptor_ >= 0) close(descriptor_);
}

bool PlainSocket::bind(const Endpoint& local, bool reuse) const {
    const int on = reuse ? 1 : 0;
    setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return ::bind(descriptor_, local.get(), local.length) == 0;
}

void PlainSocket::joinAnySource(const std::string& group, const std::string& interfaceName) const {
    group_req request{};
    request.gr_interface = if_nametoindex(interfaceName.c_str());
    request.gr_group = Endpoint(group, 0).storage;
    const int level = isSix(group) ? IPPROTO_IPV6 : IPPROTO_IP;
    require(setsockopt(descriptor_, level, MCAST_JOIN_GROUP, &request, sizeof request) == 0, "can't join " + group);
}

Speaker::Speaker(const Host& host, const std::string& local, const std::string& interfaceName)
    : socket_(socketIn(host, isSix(local) ? AF_INET6 : AF_INET)) {
    const int index = static_cast<int>(indexIn(host, interfaceName));
    if (isSix(local)) {
        require(setsockopt(socket_.get(), IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof index) == 0, "multicast if");
    } else {
        ip_mreqn choice{};
        choice.imr_ifindex = index;
        require(setsockopt(socket_.get(), IPPROTO_IP, IP_MULTICAST_IF, &choice, sizeof choice) == 0, "multicast if");
    }
    require(socket_.bind(Endpoint(local, 0), false), "can't speak from " + local);
}

bool Speaker::say(const std::string& text, const std::string& address, std::uint16_t port) const {
    const Endpoint remote(address, port);
    return sendto(socket_.get(), text.data(), text.size(), 0, remote.get(), remote.length) >= 0;
}

std::string Stream::numbered(std::uint32_t number) {
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

Stream::Stream(const Host& host, const std::string& local, const std::string& interfaceName, const std::string& address,
               std::uint16_t port, std::chrono::milliseconds spacing,
               std::function<std::string(std::uint32_t number)> datagram)
    : speaker_(host, local, interfaceName),
      thread_([this, address, port, spacing, datagram = std::move(datagram)](const std::stop_token& ending) {
          for (std::uint32_t i = 1; !ending.stop_requested(); ++i) {
              speaker_.say(datagram(i), address, port);  // may be refused while a cable is out
              std::this_thread::sleep_for(spacing);
          }
      }) {}

PlainSocket listeningSocket(const Host& host, const std::string& address, std::uint16_t port,
                            const std::string& interfaceName) {
    PlainSocket made = socketIn(host, isSix(address) ? AF_INET6 : AF_INET);
    const Endpoint here(address, port);
    require(made.bind(here, true), "can't listen on " + address);
    if (isGroup(here)) host.run([&] { made.joinAnySource(address, interfaceName); });
    return made;
}

Reader::Reader(int descriptor, Take take)
    : thread_([descriptor, take = std::move(take)](const std::stop_token& ending) {
          pollfd watched{descriptor, POLLIN, 0};
          std::array<std::uint8_t, 2048> buffer{};
          while (!ending.stop_requested()) {
              if (poll(&watched, 1, kLookMs) != 1) continue;
              const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
              if (length > 0) take(buffer.data(), static_cast<std::size_t>(length));
          }
      }) {}

Ear::Ear(const Host& host, const std::string& address, std::uint16_t port, const std::string& interfaceName)
    : socket_(roomy(listeningSocket(host, address, port, interfaceName))),
      reader_(socket_.get(), [this](const std::uint8_t* bytes, std::size_t size) {
          std::uint32_t number = 0;
          if (size < sizeof number) return;
          std::memcpy(&number, bytes, sizeof number);
          numbers_.add(number);
      }) {}

std::set<std::uint32_t> Ear::heard() {
    const auto all = numbers_.all();
    return {all.begin(), all.end()};
}

bool Ear::waitForNumberAbove(std::uint32_t number) {
    return numbers_.waitFor([number](const auto& all) {
        return std::any_of(all.rbegin(), all.rend(), [number](std::uint32_t one) { return one > number; });
    });
}

MembershipTap::MembershipTap(const Host& host, const std::string& interfaceName)
    : socket_(tapOn(host, interfaceName)), reader_(socket_.get(), [this](const std::uint8_t* bytes, std::size_t size) {
          readPacket(bytes, size, [this](const std::string& line) { lines_.add(line); });
      }) {}

int MembershipTap::count(const std::string& line) {
    const auto all = lines_.all();
    return static_cast<int>(std::count(all.begin(), all.end(), line));
}

bool MembershipTap::waitFor(const std::string& line) {
    return lines_.waitFor([&](const auto& all) { return std::find(all.begin(), all.end(), line) != all.end(); });
}

}  // namespace test
