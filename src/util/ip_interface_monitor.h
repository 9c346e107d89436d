#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "foundation/semaphore_queue.h"
#include "foundation/thread.h"
#include "platform/adapters.h"
#include "platform/waitable.h"

namespace mcgate::util {

/// What a monitor asks of the system; tests have theirs.
struct InterfaceSystem {
    using AddressChange = std::function<void(std::uint16_t family, std::uint32_t interfaceIndex)>;

    /// Calls back on a thread of the system's for each change, as platform::AddressChangeNotification does, until the
    /// result is destroyed. May throw.
    std::function<std::shared_ptr<void>(AddressChange)> notifyAddressChange;
    std::function<bool(std::uint32_t interfaceIndex)> isInterfaceUp;
    std::function<bool(std::vector<platform::Adapter>&)> listAdapters;

    static InterfaceSystem real();
};

/// Tells its owner when an interface that carries one of a set of local addresses comes up or goes down. What it tells
/// is a hint: the state of an interface at each change of it, whether or not that differs from what was told before. It
/// watches interfaces, not addresses: an address that moves to another interface later is not followed.
///
/// Threads: the owner's (WatchAddresses, questions); the system's notification thread, which only asks for the
/// interface's state and queues it; the monitor's own, on which the callback hears of everything in its order, so that
/// a slow callback holds nobody up.
/// Locks: watchLock_ guards watched_, and is held while the kernel lists its adapters; stateLock_ makes one step of
/// asking the kernel for a state and queuing it, some microseconds, so that the last word on an interface is the
/// latest; the queue's own are leaves. watchLock_ is held with none of them, and none during the callback. Errors: the
/// constructor throws when there is no memory or no thread. Where the system refuses notification, only WatchAddresses
/// makes events; the debug output tells.
class IpInterfaceMonitor {
public:
    /// Must not throw, nor destroy the monitor or wait for its destruction.
    using Callback = std::function<void(std::uint32_t interfaceIndex, bool up)>;

    explicit IpInterfaceMonitor(Callback callback, InterfaceSystem system = InterfaceSystem::real());
    /// Waits for a callback in progress, without limit; what is queued then is dropped.
    ~IpInterfaceMonitor();
    IpInterfaceMonitor(const IpInterfaceMonitor&) = delete;
    IpInterfaceMonitor& operator=(const IpInterfaceMonitor&) = delete;

    /// Watches the interfaces that carry these addresses, and no others any more, but for what is queued already; the
    /// callback hears the present state
    /// of each, in ascending order of index. An address that no interface carries is left out.
    void WatchAddresses(const std::set<std::string>& localAddresses);
    bool IsWatched(std::uint32_t interfaceIndex) const;
    /// Compares with the canonical numeric text of each adapter's addresses, without scope. When none is equal, or the
    /// kernel refuses, the result is false and `interfaceIndex` as it was.
    bool FindInterfaceByAddressText(const std::string& address, std::uint32_t& interfaceIndex) const;

private:
    struct Event {
        std::uint32_t interfaceIndex = 0;
        bool up = false;
    };

    void run();
    std::shared_ptr<void> registerForChanges();
    void OnAddressChange(std::uint16_t family, std::uint32_t interfaceIndex);
    void queueState(std::uint32_t interfaceIndex);

    const InterfaceSystem system_;
    std::set<std::uint32_t> watched_;  ///< interface indices
    mutable std::mutex watchLock_;
    const Callback callback_;
    foundation::SemaphoreQueue<Event> events_;
    std::mutex stateLock_;
    platform::Event stopEvent_{platform::Event::Reset::Automatic};
    /// Made by the constructor, so that no change after it is missed; the thread takes it over and ends it.
    std::shared_ptr<void> registration_;
    std::unique_ptr<quorvel::system::thread::v1::Thread> monitorThread_;
};

}  // namespace mcgate::util
