#pragma once

#include <cstdint>
#include <map>

namespace mcgate::host {

/// Datagrams that the kernel dropped because a receive buffer of this process was full, by its socket table. A socket
/// that is made anew counts on. One thread.
class KernelDrops {
public:
    explicit KernelDrops(std::uint16_t port) : port_(port) {}
    /// Looks at the table and gives the sum so far.
    std::uint64_t update();

private:
    const std::uint16_t port_;
    std::map<std::uint64_t, std::uint64_t> byInode_;
};

}  // namespace mcgate::host
