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
#include <cstring>
#include <filesystem>
#include <set>
#include <string>

namespace mcgate::host {

namespace {

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

std::uint32_t dropsOf(const inet_diag_msg& socket, const nlmsghdr& record) {
    auto left = static_cast<unsigned>(record.nlmsg_len - NLMSG_LENGTH(sizeof socket));
    const char* first = reinterpret_cast<const char*>(&socket) + NLMSG_ALIGN(sizeof socket);
    for (auto* one = reinterpret_cast<const rtattr*>(first); RTA_OK(one, left); one = RTA_NEXT(one, left)) {
        if (one->rta_type != INET_DIAG_SKMEMINFO) continue;
        std::uint32_t values[SK_MEMINFO_VARS] = {};
        std::memcpy(values, RTA_DATA(one), std::min<std::size_t>(sizeof values, RTA_PAYLOAD(one)));
        return values[SK_MEMINFO_DROPS];
    }
    return 0;
}

// Calls each(inode, drops) for every UDP socket of the family on the port.
template <class Each>
void dump(int descriptor, std::uint8_t family, std::uint16_t port, Each&& each) {
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
    if (send(descriptor, &request, sizeof request, 0) < 0) return;
    alignas(nlmsghdr) std::array<char, 32768> buffer;
    for (;;) {
        const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), 0);
        if (length <= 0) return;
        auto left = static_cast<unsigned>(length);
        for (auto* record = reinterpret_cast<const nlmsghdr*>(buffer.data()); NLMSG_OK(record, left);
             record = NLMSG_NEXT(record, left)) {
            if (record->nlmsg_type == NLMSG_DONE || record->nlmsg_type == NLMSG_ERROR) return;
            const auto& socket = *static_cast<const inet_diag_msg*>(NLMSG_DATA(record));
            if (ntohs(socket.id.idiag_sport) == port) each(socket.idiag_inode, dropsOf(socket, *record));
        }
    }
}

}  // namespace

std::uint64_t KernelDrops::update() {
    const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (descriptor >= 0) {
        const auto own = ownSockets();
        for (const std::uint8_t family : {std::uint8_t{AF_INET}, std::uint8_t{AF_INET6}}) {
            dump(descriptor, family, port_, [&](std::uint64_t inode, std::uint64_t drops) {
                if (own.count(inode) != 0) byInode_[inode] = drops;
            });
        }
        close(descriptor);
    }
    std::uint64_t sum = 0;
    for (const auto& [inode, drops] : byInode_) sum += drops;
    return sum;
}

}  // namespace mcgate::host
