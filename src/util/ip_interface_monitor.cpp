#include "util/ip_interface_monitor.h"

#include <exception>
#include <utility>

#include "platform/address_change_notification.h"
#include "platform/interface_state.h"
#include "platform/process/process.h"
#include "platform/socket.h"

namespace mcgate::util {

using quorvel::system::thread::v1::Thread;

InterfaceSystem InterfaceSystem::real() {
    return {[](AddressChange change) -> std::shared_ptr<void> {
                return std::make_shared<platform::AddressChangeNotification>(std::move(change));
            },
            platform::isInterfaceUp, platform::listAdapters};
}

IpInterfaceMonitor::IpInterfaceMonitor(Callback callback, InterfaceSystem system)
    : system_(std::move(system)),
      callback_(std::move(callback)),
      registration_(registerForChanges()),
      monitorThread_(std::make_unique<Thread>([this] { run(); }, quorvel::system::thread::v1::kStartRunning)) {}

IpInterfaceMonitor::~IpInterfaceMonitor() {
    stopEvent_.set();
    monitorThread_->Wait();
}

void IpInterfaceMonitor::run() {
    const std::shared_ptr<void> registration = std::move(registration_);  // ends with the thread
    Event event;
    while (events_.pop(event, stopEvent_)) callback_(event.interfaceIndex, event.up);
}

std::shared_ptr<void> IpInterfaceMonitor::registerForChanges() {
    try {
        return system_.notifyAddressChange(
            [this](std::uint16_t family, std::uint32_t interfaceIndex) { OnAddressChange(family, interfaceIndex); });
    } catch (const std::exception& failure) {
        process::writeDebugOutput(
            (std::string("changes of interfaces will not be noticed: ") + failure.what() + "\n").c_str());
        return {};
    }
}

void IpInterfaceMonitor::OnAddressChange(std::uint16_t family, std::uint32_t interfaceIndex) {
    if (family != platform::kFamilyIPv4 && family != platform::kFamilyIPv6) return;
    if (IsWatched(interfaceIndex)) queueState(interfaceIndex);
}

void IpInterfaceMonitor::queueState(std::uint32_t interfaceIndex) {
    // One step, so that of two threads the one that read later also tells later.
    const std::lock_guard hold(stateLock_);
    events_.push({interfaceIndex, system_.isInterfaceUp(interfaceIndex)});
}

void IpInterfaceMonitor::WatchAddresses(const std::set<std::string>& localAddresses) {
    std::set<std::uint32_t> watched;
    {
        const std::lock_guard hold(watchLock_);
        watched_.clear();
        for (const auto& address : localAddresses) {
            std::uint32_t interfaceIndex = 0;
            if (FindInterfaceByAddressText(address, interfaceIndex)) watched_.insert(interfaceIndex);
        }
        watched = watched_;
    }
    for (const std::uint32_t interfaceIndex : watched) {
        if (IsWatched(interfaceIndex)) queueState(interfaceIndex);
    }
}

bool IpInterfaceMonitor::IsWatched(std::uint32_t interfaceIndex) const {
    const std::lock_guard hold(watchLock_);
    return watched_.contains(interfaceIndex);
}

bool IpInterfaceMonitor::FindInterfaceByAddressText(const std::string& address, std::uint32_t& interfaceIndex) const {
    std::vector<platform::Adapter> adapters;
    if (!system_.listAdapters(adapters)) return false;
    for (const auto& adapter : adapters) {
        for (const auto& one : adapter.unicast) {
            if (platform::numericText(one.address) != address) continue;
            interfaceIndex = adapter.index;
            return true;
        }
    }
    return false;
}

}  // namespace mcgate::util
