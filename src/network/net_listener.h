#pragma once

#include <cstdint>

#include "foundation/winsock22_init.h"
#include "network/endpoint.h"
#include "platform/critical_section.h"
#include "platform/socket.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

/// Something that yields datagrams; used by one thread at a time.
class INetListener {
public:
    virtual ~INetListener() = default;
    /// Reads one datagram: its length in bytes, 0 for an empty one, negative for an error or one longer than
    /// `capacity`.
    virtual std::int32_t Receive(char* buffer, std::uint32_t capacity) = 0;
    /// True when a datagram can be read within `microseconds`; time-out and error both give false.
    virtual bool WaitForData(std::int32_t microseconds) = 0;
    /// A copy of what it was made from.
    virtual Endpoint& GetEndpoint(Endpoint& out) = 0;
};

/// One open UDP socket that receives on an Endpoint: construction opens, binds and joins, destruction leaves and
/// closes. Exactly the endpoint's datagrams reach it: a joined group's from its one interface (and source), or the
/// unicast ones. Threads: one at a time; the lock orders its steps. Errors: the constructor throws std::runtime_error
/// that names the step and the socket error number, or what Winsock22Init throws; nothing stays open then. The
/// destructor swallows what leaving and closing throw.
class NetListener final : public INetListener {
public:
    explicit NetListener(const Endpoint& target);
    ~NetListener() override;
    NetListener(const NetListener&) = delete;
    NetListener& operator=(const NetListener&) = delete;

    std::int32_t Receive(char* buffer, std::uint32_t capacity) override;
    bool WaitForData(std::int32_t microseconds) override;
    Endpoint& GetEndpoint(Endpoint& out) override;

private:
    void CreateSocket();
    void BindSocket();
    void JoinMulticastSource();
    void LeaveMulticastSource();
    void CloseSocket();

    const cpp_utils::raii::v1::Winsock22Init library_;
    mcgate::platform::CriticalSection socketLock_;
    mcgate::platform::Socket socket_;
    const Endpoint target_;
};

}  // namespace quorvel::network::udp::lib_udp::v2_1
