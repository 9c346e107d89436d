// The address rules on any blocks of 128 bytes, as a persisted stream may hold them. An input is up to two blocks.

#include <algorithm>
#include <cstring>

#include "invariant.h"
#include "network/endpoint.h"
#include "platform/linux/native_address.h"

namespace {

using fuzz::invariant;
using namespace quorvel::network::udp::lib_udp::v2_1;
using mcgate::platform::kFamilyIPv4;
using mcgate::platform::kFamilyIPv6;

bool sameTarget(const SocketAddress& left, const SocketAddress& right) {
    const std::size_t width = left.family() == kFamilyIPv4 ? 4 : 16;
    return left.family() == right.family() && left.port() == right.port() &&
           std::equal(left.address(), left.address() + width, right.address());
}

void checkKnown(const SocketAddress& address, const AddressText& canonical) {
    invariant(canonical.port == address.port(), "the text comes with the port");
    SocketAddress again;
    invariant(ResolveAddress(canonical.text, canonical.port, again) == 0, "the text of a block resolves");
    invariant(sameTarget(address, again), "the text of a block gives its address back");
    const auto native = mcgate::platform::toNative(address);
    const SocketAddress back = mcgate::platform::fromNative(native.storage);
    invariant(sameTarget(address, back), "the kernel's form keeps the address");
    invariant(address.family() == kFamilyIPv4 || address.scope() == back.scope(), "the kernel's form keeps the scope");
}

void checkBlock(const SocketAddress& address) {
    const bool known = address.family() == kFamilyIPv4 || address.family() == kFamilyIPv6;
    const bool unicast = IsUnicastAddress(address);
    const bool multicast = IsMulticastAddress(address);
    invariant(!unicast || !multicast, "no address is both");
    invariant(known || (!unicast && !multicast && !IsAnyAddress(address)), "an unknown family is nothing");
    invariant(address.family() != kFamilyIPv6 || unicast != multicast, "an IPv6 address is one of the two");
    const AddressText canonical = AddressToText(address);
    invariant(canonical.text.empty() != known, "a known family has a text");
    if (known) {
        checkKnown(address, canonical);
    } else {
        invariant(canonical.port == 0, "an unknown family has no port");
        invariant(mcgate::platform::toNative(address).length == 0, "the kernel has no form for an unknown family");
    }
}

void checkEndpoints(const SocketAddress& one, const SocketAddress& other) {
    const Endpoint unicast(UnicastEndpoint{one});
    const Endpoint multicast(MulticastEndpoint{one, other, {}});
    invariant((unicast == Endpoint(UnicastEndpoint{other})) == (one.bytes == other.bytes), "equality is by all bytes");
    invariant(!(unicast == multicast), "tags tell endpoints apart");
    Endpoint copy(multicast);
    Endpoint swapped(unicast);
    swapped.swap(copy);
    invariant(swapped == multicast && copy == unicast, "values are exchanged whole");
    invariant(EndpointLocal(multicast) == one && EndpointGroup(multicast) == other, "accessors give what was put in");
    invariant(EndpointFamily(unicast) == one.family() && EndpointPort(unicast) == one.networkPort(),
              "family and port are the raw fields");
    invariant(EndpointGroup(unicast) == SocketAddress{}, "a unicast endpoint has no group");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    SocketAddress one;
    SocketAddress other;
    const std::size_t first = std::min(size, SocketAddress::kSize);
    if (first != 0) std::memcpy(one.bytes.data(), data, first);
    const std::size_t second = std::min(size - first, SocketAddress::kSize);
    if (second != 0) std::memcpy(other.bytes.data(), data + first, second);
    checkBlock(one);
    checkBlock(other);
    checkEndpoints(one, other);
    return 0;
}
