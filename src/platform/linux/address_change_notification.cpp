#include "platform/address_change_notification.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <map>
#include <system_error>
#include <utility>

#include "platform/linux/route_socket.h"
#include "platform/native_thread.h"
#include "platform/process/process.h"
#include "platform/socket_address.h"

namespace mcgate::platform {

namespace {

constexpr int kReceiveBuffer = 1 << 20;  // bytes; some thousand messages may wait for a slow callback
constexpr int kTries = 4;                // of a dump that changes tear
constexpr int kRetryMs = 100;            // after the kernel has refused

using Links = std::map<std::uint32_t, bool>;  // whether each interface carries data

FileDescriptor demanded(int descriptor, const char* step) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), step);
    return FileDescriptor(descriptor);
}

// Notices of the kernel's about links and addresses, from now on.
FileDescriptor openNotices() {
    FileDescriptor notices = demanded(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE),
                                      "unable to open a netlink socket");
    if (setsockopt(notices.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) != 0)
        setsockopt(notices.get(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    sockaddr_nl groups{};
    groups.nl_family = AF_NETLINK;
    groups.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    if (bind(notices.get(), reinterpret_cast<const sockaddr*>(&groups), sizeof groups) != 0)
        throw std::system_error(errno, std::generic_category(), "unable to subscribe to changes of interfaces");
    return notices;
}

bool readLinks(Links& links) {
    auto result = RouteSocket::Result::Torn;
    for (int i = 0; i < kTries && result == RouteSocket::Result::Torn; ++i) {
        links.clear();
        RouteSocket kernel;
        result = kernel.dump(RTM_GETLINK, [&links](const nlmsghdr& record) {
            if (record.nlmsg_type != RTM_NEWLINK) return;
            const auto& link = *static_cast<const ifinfomsg*>(NLMSG_DATA(&record));
            links[static_cast<std::uint32_t>(link.ifi_index)] = carriesData(link.ifi_flags);
        });
    }
    return result == RouteSocket::Result::Whole;
}

std::uint16_t familyOf(unsigned native) noexcept {
    return native == AF_INET ? kFamilyIPv4 : native == AF_INET6 ? kFamilyIPv6 : kFamilyNone;
}

}  // namespace

/// The thread, and what it alone uses once it runs.
class AddressChangeNotification::Watcher {
public:
    explicit Watcher(Callback callback)
        : callback_(std::move(callback)),
          stop_(demanded(eventfd(0, EFD_CLOEXEC), "unable to make an eventfd")),
          notices_(openNotices()),
          missed_(!readLinks(links_)),
          thread_([this] { run(); }, NativeThread::Start::Running) {}
    ~Watcher() {
        eventfd_write(stop_.get(), 1);
        thread_.wait();
    }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

private:
    void run() noexcept {
        while (waitForNotices()) turnSurvives();
    }
    bool waitForNotices() noexcept {
        pollfd watched[] = {{stop_.get(), POLLIN, 0}, {notices_.get(), POLLIN, 0}};
        // What waits in a queue that will be given up wakes nobody.
        while (poll(watched, missed_ ? 1 : 2, missed_ ? kRetryMs : -1) < 0) {
        }
        return watched[0].revents == 0;
    }
    // A turn that throws, by the callback or for want of memory, has lost notices; the watch goes on.
    void turnSurvives() noexcept {
        try {
            missed_ = missed_ || !readNotices();
            if (missed_) beginAnew();
        } catch (...) {
            missed_ = true;
            process::writeDebugOutput("a change of an interface could not be told; all are told anew\n");
        }
    }
    bool readNotices();
    void take(const nlmsghdr& message);
    void takeLink(bool exists, const ifinfomsg& link);
    void beginAnew();

    const Callback callback_;
    const FileDescriptor stop_;
    FileDescriptor notices_;
    Links links_;
    bool missed_;  ///< some notices; all interfaces are to be told
    alignas(nlmsghdr) RouteMessages messages_;
    NativeThread thread_;
};

// Reads what one call gives; false when the kernel has dropped notices.
bool AddressChangeNotification::Watcher::readNotices() {
    const ssize_t length = recv(notices_.get(), messages_.data(), messages_.size(), 0);
    if (length < 0) return errno == EAGAIN || errno == EWOULDBLOCK;
    eachMessage(messages_, static_cast<std::size_t>(length), [this](const nlmsghdr& one) {
        take(one);
        return true;
    });
    return true;
}

void AddressChangeNotification::Watcher::take(const nlmsghdr& message) {
    if (message.nlmsg_type == RTM_NEWADDR || message.nlmsg_type == RTM_DELADDR) {
        const auto& address = *static_cast<const ifaddrmsg*>(NLMSG_DATA(&message));
        callback_(familyOf(address.ifa_family), address.ifa_index);
    } else if (message.nlmsg_type == RTM_NEWLINK || message.nlmsg_type == RTM_DELLINK) {
        takeLink(message.nlmsg_type == RTM_NEWLINK, *static_cast<const ifinfomsg*>(NLMSG_DATA(&message)));
    }
}

void AddressChangeNotification::Watcher::takeLink(bool exists, const ifinfomsg& link) {
    if (link.ifi_family != AF_UNSPEC) return;  // a bridge telling of its ports, which go on existing when it loses them
    const auto index = static_cast<std::uint32_t>(link.ifi_index);
    if (!exists) {
        callback_(kFamilyIPv4, index);
        links_.erase(index);  // behind the notice: one that throws is given again for all that the map holds
        return;
    }
    const bool up = carriesData(link.ifi_flags);
    const bool before = std::exchange(links_[index], up);
    if (up != before) callback_(kFamilyIPv4, index);
}

// With another queue, so that nothing older than what is asked for now is read after it.
void AddressChangeNotification::Watcher::beginAnew() {
    FileDescriptor notices = openNotices();
    Links present;
    if (!readLinks(present)) return;  // tried again after a while
    notices_ = std::move(notices);
    // Until all are told, the map holds the gone ones, too, in case a notice throws.
    links_.insert(present.begin(), present.end());
    for (const auto& [index, up] : links_) callback_(kFamilyIPv4, index);
    links_ = std::move(present);
    missed_ = false;
}

AddressChangeNotification::AddressChangeNotification(Callback callback)
    : watcher_(std::make_unique<Watcher>(std::move(callback))) {}

AddressChangeNotification::~AddressChangeNotification() = default;

}  // namespace mcgate::platform
