#include "cli/socket_table.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace mcgate::host {

namespace {

struct MemoryInfo {
    std::uint32_t values[SK_MEMINFO_VARS] = {};
};

MemoryInfo memoryOf(const inet_diag_msg& socket, const nlmsghdr& record) {
    MemoryInfo memory;
    auto left = static_cast<unsigned>(record.nlmsg_len - NLMSG_LENGTH(sizeof socket));
    const char* first = reinterpret_cast<const char*>(&socket) + NLMSG_ALIGN(sizeof socket);
    for (auto* one = reinterpret_cast<const rtattr*>(first); RTA_OK(one, left); one = RTA_NEXT(one, left)) {
        if (one->rta_type != INET_DIAG_SKMEMINFO) continue;
        std::memcpy(memory.values, RTA_DATA(one), std::min<std::size_t>(sizeof memory.values, RTA_PAYLOAD(one)));
    }
    return memory;
}

UdpSocket socketOf(const nlmsghdr& record) {
    const auto& told = *static_cast<const inet_diag_msg*>(NLMSG_DATA(&record));
    const MemoryInfo memory = memoryOf(told, record);
    UdpSocket socket;
    const bool six = told.idiag_family == AF_INET6;
    socket.local.setFamily(six ? platform::kFamilyIPv6 : platform::kFamilyIPv4);
    socket.local.setPort(ntohs(told.id.idiag_sport));
    std::memcpy(socket.local.address(), told.id.idiag_src, six ? 16 : 4);
    socket.inode = told.idiag_inode;
    socket.user = told.idiag_uid;
    socket.drops = memory.values[SK_MEMINFO_DROPS];
    socket.receiveBuffer = memory.values[SK_MEMINFO_RCVBUF] / 2;  // the kernel doubles it for its own needs
    return socket;
}

bool ask(int descriptor, std::uint8_t family) {
    struct {
        nlmsghdr header;
        inet_diag_req_v2 body;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.body.sdiag_family = family;
    request.body.sdiag_protocol = IPPROTO_UDP;
    request.body.idiag_ext = 1U << (INET_DIAG_SKMEMINFO - 1);
    request.body.idiag_states = ~0U;
    return send(descriptor, &request, sizeof request, 0) >= 0;
}

// Adds the family's sockets on the port; false when the kernel doesn't tell.
bool dump(int descriptor, std::uint8_t family, std::uint16_t port, std::vector<UdpSocket>& sockets) {
    if (!ask(descriptor, family)) return false;
    alignas(nlmsghdr) std::array<char, 32768> buffer;
    for (;;) {
        const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), 0);
        if (length <= 0) return false;
        auto left = static_cast<unsigned>(length);
        for (auto* record = reinterpret_cast<const nlmsghdr*>(buffer.data()); NLMSG_OK(record, left);
             record = NLMSG_NEXT(record, left)) {
            if (record->nlmsg_type == NLMSG_DONE) return true;
            if (record->nlmsg_type == NLMSG_ERROR) return false;
            const UdpSocket socket = socketOf(*record);
            if (socket.local.port() == port) sockets.push_back(socket);
        }
    }
}

bool isNumber(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char one) { return one >= '0' && one <= '9'; });
}

}  // namespace

std::optional<std::vector<UdpSocket>> udpSocketsOn(std::uint16_t port) {
    const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (descriptor < 0) return std::nullopt;
    std::vector<UdpSocket> sockets;
    const bool four = dump(descriptor, AF_INET, port, sockets);
    const bool six = dump(descriptor, AF_INET6, port, sockets);
    close(descriptor);
    if (!four && !six) return std::nullopt;
    return sockets;
}

std::set<std::uint64_t> socketsOfProcess(const std::string& process) {
    constexpr std::string_view kPrefix = "socket:[";
    std::set<std::uint64_t> inodes;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + process + "/fd", ignored)) {
        const std::string target = std::filesystem::read_symlink(entry.path(), ignored).string();
        std::uint64_t inode = 0;
        if (target.rfind(kPrefix, 0) != 0) continue;
        std::from_chars(target.data() + kPrefix.size(), target.data() + target.size(), inode);
        inodes.insert(inode);
    }
    return inodes;
}

std::string holderOf(const UdpSocket& socket) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
        const std::string process = entry.path().filename().string();
        if (!isNumber(process) || socketsOfProcess(process).count(socket.inode) == 0) continue;
        std::string name;
        std::getline(std::ifstream("/proc/" + process + "/comm"), name);
        return name.append(" (pid ").append(process).append(")");
    }
    return "a program of user " + std::to_string(socket.user);
}

}  // namespace mcgate::host
