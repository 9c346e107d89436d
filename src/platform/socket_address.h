#pragma once
// The 128-byte socket address value of configuration, comparison and persisted streams. Its family numbers are those of
// the persisted formats (2 and 23) on every platform; conversion to the kernel's form happens in platform/linux.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace mcgate::platform {

inline constexpr std::uint16_t kFamilyNone = 0;
inline constexpr std::uint16_t kFamilyIPv4 = 2;
inline constexpr std::uint16_t kFamilyIPv6 = 23;

/// Zero-filled at first; copied, compared and persisted as 128 raw bytes, so bytes behind the address proper stay zero.
/// Layout: family u16 host order at 0; port u16 network order at 2; IPv4 address at 4; IPv6 flow information at 4,
/// address at 8, scope u32 at 24.
struct SocketAddress {
    static constexpr std::size_t kSize = 128;
    std::array<std::uint8_t, kSize> bytes{};

    std::uint16_t family() const noexcept { return get16(0); }
    void setFamily(std::uint16_t family) noexcept { put16(0, family); }
    /// The port field as it stands in memory: network byte order.
    std::uint16_t networkPort() const noexcept { return get16(2); }
    std::uint16_t port() const noexcept { return static_cast<std::uint16_t>(bytes[2] << 8 | bytes[3]); }
    void setPort(std::uint16_t hostOrder) noexcept {
        bytes[2] = static_cast<std::uint8_t>(hostOrder >> 8);
        bytes[3] = static_cast<std::uint8_t>(hostOrder & 0xFF);
    }
    /// The address bytes proper: 4 for IPv4, 16 for IPv6; meaningless for other families.
    const std::uint8_t* address() const noexcept { return bytes.data() + (family() == kFamilyIPv6 ? 8 : 4); }
    std::uint8_t* address() noexcept { return bytes.data() + (family() == kFamilyIPv6 ? 8 : 4); }
    /// The four IPv4 address bytes as one word in memory order, that is, in network byte order.
    std::uint32_t ipv4Word() const noexcept {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes.data() + 4, sizeof word);
        return word;
    }
    std::uint32_t scope() const noexcept {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes.data() + 24, sizeof word);
        return word;
    }
    void setScope(std::uint32_t scope) noexcept { std::memcpy(bytes.data() + 24, &scope, sizeof scope); }

    friend bool operator==(const SocketAddress&, const SocketAddress&) = default;

private:
    std::uint16_t get16(std::size_t offset) const noexcept {
        std::uint16_t value = 0;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
    void put16(std::size_t offset, std::uint16_t value) noexcept {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
    }
};
static_assert(sizeof(SocketAddress) == SocketAddress::kSize);

/// Questions about IPv4 and IPv6 addresses; false for other families.
inline bool isKnownFamily(const SocketAddress& address) noexcept {
    return address.family() == kFamilyIPv4 || address.family() == kFamilyIPv6;
}
inline std::size_t addressSize(const SocketAddress& address) noexcept {
    return address.family() == kFamilyIPv6 ? 16 : 4;
}
/// Family and address bytes alone are compared.
inline bool sameAddress(const SocketAddress& left, const SocketAddress& right) noexcept {
    return isKnownFamily(left) && left.family() == right.family() &&
           std::equal(left.address(), left.address() + addressSize(left), right.address());
}
/// 0.0.0.0 or ::.
inline bool isAny(const SocketAddress& address) noexcept {
    return isKnownFamily(address) && std::all_of(address.address(), address.address() + addressSize(address),
                                                 [](std::uint8_t byte) { return byte == 0; });
}
/// 224.0.0.0/4 (RFC 5771) or ff00::/8 (RFC 4291, 2.7).
inline bool isMulticast(const SocketAddress& address) noexcept {
    const std::uint8_t first = address.address()[0];
    return address.family() == kFamilyIPv4 ? (first & 0xF0) == 0xE0 : address.family() == kFamilyIPv6 && first == 0xFF;
}
/// fe80::/10 (RFC 4291, 2.5.6).
inline bool isLinkLocal(const SocketAddress& address) noexcept {
    return address.family() == kFamilyIPv6 && address.address()[0] == 0xFE && (address.address()[1] & 0xC0) == 0x80;
}

}  // namespace mcgate::platform
