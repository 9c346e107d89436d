// The address rules on any texts. An input is up to four lines: port, local address, group or remote address, source.

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <string>

#include "invariant.h"
#include "network/endpoint.h"

namespace {

using fuzz::invariant;
using namespace quorvel::network::udp::lib_udp::v2_1;
using mcgate::platform::kFamilyIPv4;
using mcgate::platform::kFamilyIPv6;

struct Texts {
    std::uint32_t port = 0;
    std::string local;
    std::string group;
    std::string source;
};

// Texts come as zero-terminated ones, so none holds a zero.
Texts parse(const std::uint8_t* data, std::size_t size) {
    std::array<std::string, 4> lines;
    std::size_t line = 0;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n' && line + 1 < lines.size()) {
            ++line;
        } else if (data[i] != 0) {
            lines[line] += static_cast<char>(data[i]);
        }
    }
    Texts texts{0, lines[1], lines[2], lines[3]};
    std::from_chars(lines[0].data(), lines[0].data() + lines[0].size(), texts.port);
    return texts;
}

std::optional<SocketAddress> resolved(const std::string& text, std::uint32_t port) {
    SocketAddress address;
    address.bytes.fill(0xA5);
    const SocketAddress untouched = address;
    if (ResolveAddress(text, port, address) == 0) return address;
    invariant(address == untouched, "a refused text leaves the output alone");
    return std::nullopt;
}

bool isUnicast(const std::optional<SocketAddress>& address) { return address && IsUnicastAddress(*address); }

void checkAddress(const std::string& text, std::uint32_t port) {
    const auto found = resolved(text, port);
    if (!found) return;
    const SocketAddress& address = *found;
    invariant(address.family() == kFamilyIPv4 || address.family() == kFamilyIPv6, "a text gives a known family");
    invariant(address.port() == (port & 0xFFFF), "the port's low 16 bits count");
    const auto isZero = [](std::uint8_t byte) { return byte == 0; };
    const std::ptrdiff_t used = address.family() == kFamilyIPv4 ? 8 : 28;
    invariant(std::all_of(address.bytes.begin() + used, address.bytes.end(), isZero), "the rest of the block is zero");
    const std::size_t width = address.family() == kFamilyIPv4 ? 4 : 16;
    invariant(IsAnyAddress(address) == std::all_of(address.address(), address.address() + width, isZero),
              "any is the address of zeros");
    invariant(!IsUnicastAddress(address) || !IsMulticastAddress(address), "no address is both");
    const AddressText canonical = AddressToText(address);
    invariant(canonical.port == address.port(), "the text comes with the port");
    auto again = resolved(canonical.text, port);
    invariant(again.has_value(), "the canonical text is one");
    again->setScope(address.scope());  // the text has no place for it
    invariant(*again == address, "the canonical text gives the address back");
}

bool isAcceptable(const Texts& texts, const SocketAddress& decider) {
    if (!isUnicast(resolved(texts.local, texts.port))) return false;
    if (IsAnyAddress(decider)) return true;
    return IsMulticastAddress(decider) && (texts.source.empty() || isUnicast(resolved(texts.source, 0)));
}

void checkMade(const Endpoint& made, const Texts& texts, const SocketAddress& decider) {
    invariant(made.tag() == (IsAnyAddress(decider) ? Endpoint::kUnicast : Endpoint::kMulticast),
              "the group alone decides the tag");
    invariant(Endpoint(made) == made, "a copy is equal");
    if (!isAcceptable(texts, decider)) {
        const bool unicast = made.tag() == Endpoint::kUnicast;
        invariant(made == (unicast ? Endpoint(UnicastEndpoint{}) : Endpoint(MulticastEndpoint{})),
                  "what is refused is all zero");
        return;
    }
    invariant(EndpointLocal(made) == *resolved(texts.local, texts.port), "the local text is the local address");
    invariant(EndpointPort(made) == EndpointLocal(made).networkPort(), "the port is the raw field");
    const bool joined = made.tag() == Endpoint::kMulticast;
    invariant(EndpointGroup(made) == (joined ? decider : SocketAddress{}), "the group text is the group");
    const auto source = joined && !texts.source.empty() ? *resolved(texts.source, 0) : SocketAddress{};
    invariant(EndpointSource(made) == source, "the source text is the source");
}

void checkEndpoint(const Texts& texts) {
    const auto decider = resolved(texts.group, 0);
    try {
        const Endpoint made = MakeEndpoint(texts.local, texts.port, texts.group, texts.source);
        invariant(decider.has_value(), "a group that is none is told");
        checkMade(made, texts, *decider);
    } catch (const std::runtime_error& failure) {
        invariant(!decider && failure.what() == "invalid ip address: " + texts.group,
                  "only a group that is none throws");
    }
}

void checkDestination(const Texts& texts) {
    const auto remote = resolved(texts.group, texts.port);
    const auto local = resolved(texts.local, 0);
    try {
        const auto made = MakeDestinationAddresses(texts.local, texts.port, texts.group);
        invariant(isUnicast(local) && made.Local == *local, "a destination leaves from a unicast address");
        invariant(remote && made.Remote == *remote, "a destination goes to the remote text");
    } catch (const std::runtime_error&) {
        invariant(!isUnicast(local) || !remote, "only bad texts throw");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Texts texts = parse(data, size);
    for (const std::string& text : {texts.local, texts.group, texts.source}) checkAddress(text, texts.port);
    checkEndpoint(texts);
    checkDestination(texts);
    return 0;
}
