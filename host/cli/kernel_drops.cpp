#include "cli/kernel_drops.h"

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
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace mcgate::host {

namespace {

constexpr std::uint64_t kWanted = 1048576;

std::set<std::uint64_t> ownSockets() {
    constexpr std::string_view kPrefix = "socket:[";
    std::set<std::uint64_t> inodes;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", ignored)) {
        const std::string target = std::filesystem::read_symlink(entry.path(), ignored).string();
        std::uint64_t inode = 0;
        if (target.rfind(kPrefix, 0) != 0) continue;
        std::from_chars(target.data() + kPrefix.size(), target.data() + target.size(), inode);
        inodes.insert(inode);
    }
    return inodes;
}

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

// Calls each(inode, memory) for every UDP socket of the family on the port; false when the kernel doesn't tell.
template <class Each>
bool dump(int descriptor, std::uint8_t family, std::uint16_t port, Each&& each) {
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
    if (send(descriptor, &request, sizeof request, 0) < 0) return false;
    alignas(nlmsghdr) std::array<char, 32768> buffer;
    for (;;) {
        const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), 0);
        if (length <= 0) return false;
        auto left = static_cast<unsigned>(length);
        for (auto* record = reinterpret_cast<const nlmsghdr*>(buffer.data()); NLMSG_OK(record, left);
             record = NLMSG_NEXT(record, left)) {
            if (record->nlmsg_type == NLMSG_DONE) return true;
            if (record->nlmsg_type == NLMSG_ERROR) return false;
            const auto& socket = *static_cast<const inet_diag_msg*>(NLMSG_DATA(record));
            if (ntohs(socket.id.idiag_sport) == port) each(socket.idiag_inode, memoryOf(socket, *record));
        }
    }
}

}  // namespace

std::optional<std::uint64_t> KernelDrops::update() {
    if (!askKernel() && !readTables()) return std::nullopt;
    std::uint64_t sum = 0;
    for (const auto& [inode, drops] : byInode_) sum += drops;
    return sum;
}

bool KernelDrops::askKernel() {
    const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (descriptor < 0) return false;
    const auto own = ownSockets();
    const auto keep = [&](std::uint64_t inode, const MemoryInfo& memory) {
        if (own.count(inode) == 0) return;
        byInode_[inode] = memory.values[SK_MEMINFO_DROPS];
        granted_ = memory.values[SK_MEMINFO_RCVBUF] / 2;  // the kernel doubles it for its own needs
    };
    const bool four = dump(descriptor, AF_INET, port_, keep);
    const bool six = dump(descriptor, AF_INET6, port_, keep);
    close(descriptor);
    return four || six;
}

bool KernelDrops::readTables() {
    const auto own = ownSockets();
    bool read = false;
    for (const char* path : {"/proc/net/udp", "/proc/net/udp6"}) {
        std::ifstream table(path);
        read = read || table.is_open();
        for (const auto& [inode, drops] : parseUdpTable(table, port_)) {
            if (own.count(inode) != 0) byInode_[inode] = drops;
        }
    }
    return read;
}

// The receiver asks for 1 MiB; the system may allow less.
std::string KernelDrops::hint() const {
    std::uint64_t allowed = granted_;
    if (allowed == 0) std::ifstream("/proc/sys/net/core/rmem_max") >> allowed;
    if (allowed >= kWanted) return "it is as large as is asked for: what reads the stream is too slow";
    return "sysctl -w net.core.rmem_max=" + std::to_string(kWanted) + " allows the buffer that is asked for";
}

std::map<std::uint64_t, std::uint64_t> parseUdpTable(std::istream& table, std::uint16_t port) {
    // slot, local, remote, state, queues, timer, retransmits, user, time-out, inode, references, pointer, drops
    constexpr std::size_t kLocal = 1;
    constexpr std::size_t kInode = 9;
    constexpr std::size_t kDrops = 12;
    std::map<std::uint64_t, std::uint64_t> result;
    std::string line;
    std::getline(table, line);  // the heading
    while (std::getline(table, line)) {
        std::istringstream words(line);
        const std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
        if (fields.size() <= kDrops) continue;
        const std::string text = fields[kLocal].substr(fields[kLocal].rfind(':') + 1);
        if (std::strtoul(text.c_str(), nullptr, 16) != port) continue;
        result[std::strtoull(fields[kInode].c_str(), nullptr, 10)] = std::strtoull(fields[kDrops].c_str(), nullptr, 10);
    }
    return result;
}

}  // namespace mcgate::host
