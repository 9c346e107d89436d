#include "platform/interface_state.h"

#include "platform/linux/route_socket.h"

namespace mcgate::platform {

bool isInterfaceUp(std::uint32_t interfaceIndex) {
    RouteSocket kernel;
    bool up = false;
    kernel.link(interfaceIndex, [&up](const nlmsghdr& record) {
        if (record.nlmsg_type == RTM_NEWLINK)
            up = carriesData(static_cast<const ifinfomsg*>(NLMSG_DATA(&record))->ifi_flags);
    });
    return up;
}

}  // namespace mcgate::platform
