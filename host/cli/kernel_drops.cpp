#include "cli/kernel_drops.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/socket_table.h"

namespace mcgate::host {

namespace {

constexpr std::uint64_t kWanted = 1048576;

}  // namespace

std::optional<std::uint64_t> KernelDrops::update() {
    if (!askKernel() && !readTables()) return std::nullopt;
    std::uint64_t sum = 0;
    for (const auto& [inode, drops] : byInode_) sum += drops;
    return sum;
}

bool KernelDrops::askKernel() {
    const auto sockets = udpSocketsOn(port_);
    if (!sockets) return false;
    const auto own = socketsOfProcess("self");
    for (const auto& socket : *sockets) {
        if (own.count(socket.inode) == 0) continue;
        byInode_[socket.inode] = socket.drops;
        granted_ = socket.receiveBuffer;
    }
    return true;
}

bool KernelDrops::readTables() {
    const auto own = socketsOfProcess("self");
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
