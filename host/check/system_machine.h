#pragma once

#include <functional>

#include "check/listening.h"
#include "check/machine.h"

namespace mcgate::host {

/// The machine that this program runs on, in the network namespace of the calling thread.
class SystemMachine final : public Machine {
public:
    /// `stop` ends a listening; it is asked ten times a second.
    explicit SystemMachine(std::function<bool()> stop) : stop_(std::move(stop)) {}

    std::vector<Interface> interfaces() override { return listInterfaces(); }
    RouteAnswer routeTo(const platform::SocketAddress& remote, const platform::SocketAddress& from,
                        std::uint32_t interfaceIndex) override;
    PortAnswer openPort(const Road& road, std::uint32_t interfaceIndex, std::int32_t buffer) override {
        return listening_.open(road, interfaceIndex, buffer);
    }
    std::int64_t receiveBuffer() override { return listening_.receiveBuffer(); }
    Heard listen(double seconds) override { return listening_.hear(seconds, stop_); }
    std::optional<int> reversePathMode(const std::string& interfaceName) override;
    std::optional<std::uint64_t> reversePathDrops() override;
    bool mayReport() override { return platform::Socket::openRawIgmp().valid(); }
    platform::PriorityClass priorityGranted(int priority) override;
    std::string programPath() override;

private:
    const std::function<bool()> stop_;
    Listening listening_;
};

}  // namespace mcgate::host
