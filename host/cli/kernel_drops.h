#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <optional>
#include <string>

namespace mcgate::host {

/// Datagrams that the kernel dropped because a receive buffer of this process was full, by its socket table. A socket
/// that is made anew counts on. One thread.
class KernelDrops {
public:
    explicit KernelDrops(std::uint16_t port) : port_(port) {}
    /// Looks at the table and gives the sum so far; nothing where the system shows no table.
    std::optional<std::uint64_t> update();
    /// What would help against drops, by the buffer that the system allows.
    std::string hint() const;

private:
    bool askKernel();
    bool readTables();

    const std::uint16_t port_;
    std::map<std::uint64_t, std::uint64_t> byInode_;
    std::uint64_t granted_ = 0;  ///< bytes of receive buffer, 0 when not known
};

/// Drops by inode of the sockets on `port`, from a table in the form of /proc/net/udp.
std::map<std::uint64_t, std::uint64_t> parseUdpTable(std::istream& table, std::uint16_t port);

}  // namespace mcgate::host
