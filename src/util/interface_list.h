#pragma once
// The list of local IPv4 interfaces that a user chooses from: one for the whole process, taken once.

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/adapters.h"
#include "platform/hresult.h"

namespace mcgate::util {

/// An IPv4 address in 24 bytes; the last 16 are zero.
struct InterfaceAddress {
    std::uint16_t family = 0;               ///< 2
    std::uint16_t port = 0;                 ///< 0
    std::array<std::uint8_t, 4> address{};  ///< network byte order
    std::array<std::uint8_t, 16> rest{};

    /// The address as one word in network byte order, as inet_addr gives it.
    std::uint32_t word() const noexcept;
};
static_assert(sizeof(InterfaceAddress) == 24 && offsetof(InterfaceAddress, address) == 4);

/// One IPv4 address of an interface; an interface with several has an entry for each.
struct INTERFACE_INFO {
    std::uint32_t iiFlags = 0;            ///< bits of platform::AdapterFlag
    InterfaceAddress iiAddress;           ///< dotted form by platform::numericText of its bytes
    InterfaceAddress iiBroadcastAddress;  ///< 0.0.0.0 when it has none
    InterfaceAddress iiNetmask;
};
static_assert(sizeof(INTERFACE_INFO) == 76);

/// A view of the list. It stays valid for the life of the process.
struct InterfaceList {
    const INTERFACE_INFO* entries = nullptr;  ///< in ascending order of the interfaces' indices
    std::uint32_t count = 0;

    /// Whether the list was taken; a host without any address then has a count of 0.
    bool isFilled() const noexcept { return entries != nullptr; }
    const INTERFACE_INFO* begin() const noexcept { return entries; }
    const INTERFACE_INFO* end() const noexcept { return entries + count; }
};

/// The most entries that a list holds.
inline constexpr std::size_t kMostInterfaces = 32;

/// Takes the list, loopback included. Threads: any; of several at once, one fills it and the others get error 31.
/// Errors, as statuses, and the list stays as it was: 31 when it is filled already or the host has more than
/// kMostInterfaces addresses, 8 without memory, else the error of the kernel's refusal.
HRESULT FillInterfaceList() noexcept;
/// What a page calls before it shows the list: S_OK when the list is filled, by this call or by any before it or at the
/// same time; else the status of FillInterfaceList. Threads: any.
HRESULT FillInterfaceListOnce() noexcept;
/// The list as it is now. Threads: any.
InterfaceList interfaceList() noexcept;
/// For tests: the list is empty again, and views taken before are void.
void forgetInterfaceList() noexcept;

}  // namespace mcgate::util
