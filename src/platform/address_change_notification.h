#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace mcgate::platform {

/// Tells of changes to the interfaces of this host, from construction to destruction: an address that was added,
/// removed or altered; a link that began or ceased to carry data (cable, administrator); an interface that is gone.
/// Notices may repeat themselves. None is lost: where the kernel had to drop some, every interface gets one.
///
/// Threads: one owner creates and destroys. The callback runs on a thread of this object, one call at a time, and none
/// after the destructor, which waits for a call in progress; the callback must therefore not destroy the object. While
/// it runs, the kernel's messages queue up. When it throws, every interface gets a notice a while later.
/// Locks: none.
/// Errors: the constructor throws std::system_error that names the step.
class AddressChangeNotification {
public:
    /// The family of the address, kFamilyIPv4 for a change of the link, kFamilyNone for other kinds of addresses; and
    /// the index of the interface.
    using Callback = std::function<void(std::uint16_t family, std::uint32_t interfaceIndex)>;

    /// When it returns, later changes in the calling thread's network namespace are noticed.
    explicit AddressChangeNotification(Callback callback);
    ~AddressChangeNotification();

private:
    class Watcher;
    const std::unique_ptr<Watcher> watcher_;
};

}  // namespace mcgate::platform
