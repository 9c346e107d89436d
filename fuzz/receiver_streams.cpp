// The receiver's saved source: any bytes loaded, looked at through the configuration, saved and loaded again.

#include <string>

#include "network/endpoint.h"
#include "receiver/network_receiver_filter.h"
#include "saved_stream.h"

namespace {

using fuzz::Bytes;
using fuzz::invariant;
namespace udp = quorvel::network::udp::lib_udp::v2_1;

constexpr std::size_t kBlock = 128;
constexpr std::size_t kPortAt = kBlock;
constexpr std::size_t kGroupAt = kPortAt + 2;
constexpr std::size_t kSourceAt = kGroupAt + kBlock;
constexpr std::size_t kBodySize = kSourceAt + kBlock;

/// The source that a body stands for; nothing for a group that is no address. One that ends early configures nothing.
std::optional<udp::Endpoint> storedSource(std::span<const std::uint8_t> body) {
    if (body.size() < kBodySize) return udp::Endpoint();
    const auto textAt = [body](std::size_t offset) { return udp::AddressToText(fuzz::blockAt(body, offset)).text; };
    const bool unicast = fuzz::blockAt(body, kGroupAt).family() == mcgate::platform::kFamilyNone;
    const std::string group = unicast ? "0.0.0.0" : textAt(kGroupAt);
    if (group.empty()) return std::nullopt;
    const auto port = fuzz::blockAt(body, kPortAt).bytes;
    return udp::MakeEndpoint(textAt(0), port[0] * 256U + port[1], group, textAt(kSourceAt));
}

Bytes bodyFor(const udp::Endpoint& source) {
    Bytes body;
    const auto append = [&body](const udp::SocketAddress& address) {
        body.insert(body.end(), address.bytes.begin(), address.bytes.end());
    };
    append(udp::EndpointLocal(source));
    body.insert(body.end(), body.begin() + 2, body.begin() + 4);  // the address's own port field
    append(udp::EndpointGroup(source));
    append(udp::EndpointSource(source));
    return body;
}

void checkReadBack(CNetworkReceiverFilter& receiver, const udp::Endpoint& source) {
    BSTR group = nullptr;
    BSTR local = nullptr;
    BSTR from = nullptr;
    std::uint32_t port = 0;
    const bool configured = udp::EndpointPort(source) != 0 && udp::EndpointFamily(source) != 0;
    invariant(receiver.GetSource(&group, &port, &local, &from) == (configured ? S_OK : E_FAIL),
              "a source without a port or an address reads as not configured");
    invariant(!configured || port == udp::EndpointLocal(source).port(), "the port is read in host order");
    for (BSTR text : {group, local, from}) SysFreeString(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const mcgate::platform::ComPtr<CNetworkReceiverFilter> receiver(new CNetworkReceiverFilter(nullptr));
    const std::span<const std::uint8_t> content(data, size);
    const Bytes before = fuzz::save(*receiver).bytes;
    const auto body = fuzz::bodyOf(content);
    const auto source = body ? storedSource(*body) : std::nullopt;
    const HRESULT status = fuzz::load(*receiver, content);
    const auto saved = fuzz::save(*receiver);
    invariant(saved.status == S_OK && saved.bytes.size() == fuzz::kVersionSize + kBodySize, "a save has one size");
    if (source) {
        invariant(status == S_OK, "a group that is an address loads");
        invariant(std::ranges::equal(*fuzz::bodyOf(saved.bytes), bodyFor(*source)), "it is saved as it was loaded");
        checkReadBack(*receiver, *source);
    } else {
        invariant(status == (body ? E_FAIL : VFW_E_INVALID_FILE_FORMAT), "a bad version or group is told");
        invariant(saved.bytes == before, "a load that fails changes nothing");
    }
    fuzz::checkComesBack(*receiver, saved.bytes);
    return 0;
}
