#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/heard.h"
#include "check/interfaces.h"
#include "check/road.h"
#include "platform/native_thread.h"

namespace mcgate::host {

/// By which way the system would send to an address.
struct RouteAnswer {
    bool open = false;
    std::uint32_t interfaceIndex = 0;
    platform::SocketAddress source;  ///< from which it would send
    std::string refusal;             ///< why it isn't open, such as "no route"
    bool broadcast = false;          ///< it is, to all hosts of a network
};

struct PortAnswer {
    enum class State {
        Free,
        Shared,     ///< others hold it, too, and each gets its own copy
        Taken,      ///< another socket holds it, so that each datagram would go to one of the two
        Forbidden,  ///< only a privileged program may have it
        Failed      ///< the system refuses for another reason, see `reason`
    };
    State state = State::Free;
    std::string holders;  ///< the others, as far as the system tells who they are
    std::string reason;
};

/// What a check asks of the machine; tests put one of their own in its place. One thread.
class Machine {
public:
    virtual ~Machine() = default;
    virtual std::vector<Interface> interfaces() = 0;
    /// `from` (family 0: the system chooses) and `interfaceIndex` (0: any) narrow the question.
    virtual RouteAnswer routeTo(const platform::SocketAddress& remote, const platform::SocketAddress& from,
                                std::uint32_t interfaceIndex) = 0;
    /// Opens a socket as the receiver would, joined to the group if there is one, and keeps it for the next two; never
    /// one that would take datagrams away from another program. `interfaceIndex` is that of a group's interface,
    /// `buffer` the bytes of receive buffer to ask for.
    virtual PortAnswer openPort(const Road& road, std::uint32_t interfaceIndex, std::int32_t buffer) = 0;
    /// Bytes of receive buffer that the system granted to that socket.
    virtual std::int64_t receiveBuffer() = 0;
    /// Waits that long, or until the operator stops it.
    virtual Heard listen(double seconds) = 0;
    /// net.ipv4.conf: the greater of all's and the interface's own rp_filter; nothing when the system doesn't tell.
    virtual std::optional<int> reversePathMode(const std::string& interfaceName) = 0;
    /// How many datagrams this filter has dropped since the machine started, on all interfaces.
    virtual std::optional<std::uint64_t> reversePathDrops() = 0;
    virtual bool mayReport() = 0;
    /// What a thread gets that asks for the priority, see NativeThread::setPriority.
    virtual platform::PriorityClass priorityGranted(int priority) = 0;
    /// The path of this program, for a command line that gives it a privilege.
    virtual std::string programPath() = 0;
};

}  // namespace mcgate::host
