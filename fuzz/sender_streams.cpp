// The sender's saved destinations: any bytes loaded, looked at through the configuration, saved and loaded again.

#include <string>

#include "network/address.h"
#include "saved_stream.h"
#include "sender/network_send.h"

namespace {

using fuzz::invariant;
namespace udp = quorvel::network::udp::lib_udp::v2_1;

constexpr std::size_t kBlock = 128;

struct Destination {
    std::string local;
    std::string remote;
    std::uint32_t port = 0;
    friend bool operator==(const Destination&, const Destination&) = default;
};

using Destinations = std::vector<Destination>;

std::string taken(BSTR text) {
    std::string narrow = mcgate::platform::toNarrow(text);
    SysFreeString(text);
    return narrow;
}

Destinations destinationsOf(CNetworkSend& sender) {
    Destinations list;
    for (;;) {
        BSTR remote = nullptr;
        BSTR local = nullptr;
        std::uint32_t port = 0;
        const HRESULT status = sender.GetDestination(static_cast<std::int32_t>(list.size()), &remote, &port, &local);
        if (status == S_FALSE) return list;
        invariant(status == S_OK, "every entry can be read");
        std::string remoteText = taken(remote);
        list.push_back({taken(local), std::move(remoteText), port});
    }
}

Destinations stored(std::span<const std::uint8_t> body) {
    Destinations list(body.empty() ? 0 : body[0]);
    for (std::size_t i = 0; i < list.size(); ++i) {
        const auto remote = udp::AddressToText(fuzz::blockAt(body, 1 + 2 * i * kBlock + kBlock));
        list[i] = {udp::AddressToText(fuzz::blockAt(body, 1 + 2 * i * kBlock)).text, remote.text, remote.port};
    }
    return list;
}

bool canBeSaved(const Destinations& list) {
    return std::all_of(list.begin(), list.end(), [](const Destination& one) {
        udp::SocketAddress address;
        return !one.remote.empty() && udp::ResolveAddress(one.local, 0, address) == 0 && udp::IsUnicastAddress(address);
    });
}

void checkSave(CNetworkSend& sender, const Destinations& list) {
    const auto saved = fuzz::save(sender);
    if (!canBeSaved(list)) {
        invariant(saved.status == E_FAIL && saved.bytes.size() == fuzz::kVersionSize, "bad entries are not written");
        return;
    }
    invariant(saved.status == S_OK, "good entries are written");
    invariant(saved.bytes.size() == fuzz::kVersionSize + 1 + 2 * kBlock * list.size(), "two blocks for each entry");
    fuzz::checkComesBack(sender, saved.bytes);
    invariant(destinationsOf(sender) == list, "texts and ports come back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HRESULT made = S_OK;
    static const auto sender = mcgate::platform::ComPtr<CNetworkSend>(CNetworkSend::CreateInstance(nullptr, &made));
    const std::span<const std::uint8_t> content(data, size);
    const auto body = fuzz::bodyOf(content);
    const Destinations expected = body ? stored(*body) : destinationsOf(*sender);
    invariant(fuzz::load(*sender, content) == (body ? S_OK : VFW_E_INVALID_FILE_FORMAT), "the version alone is judged");
    invariant(destinationsOf(*sender) == expected, "the list is what was stored, or as it was");
    checkSave(*sender, expected);
    return 0;
}
