#pragma once

#include <functional>
#include <utility>

#include "network/net_listener.h"

namespace test {

/// A listener without a network: whether there is data, and what a read of it gives.
class FakeListener final : public quorvel::network::udp::lib_udp::v2_1::INetListener {
public:
    using Endpoint = quorvel::network::udp::lib_udp::v2_1::Endpoint;

    FakeListener(const Endpoint& target, std::function<bool()> hasData, std::function<std::int32_t()> read)
        : target_(target), hasData_(std::move(hasData)), read_(std::move(read)) {}
    std::int32_t Receive(char*, std::uint32_t) override { return read_(); }
    bool WaitForData(std::int32_t microseconds) override { return microseconds == 100'000 && hasData_(); }
    Endpoint& GetEndpoint(Endpoint& out) override { return out = target_; }

private:
    const Endpoint target_;
    const std::function<bool()> hasData_;
    const std::function<std::int32_t()> read_;
};

}  // namespace test
