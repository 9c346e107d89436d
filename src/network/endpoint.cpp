#include "network/endpoint.h"

#include <stdexcept>
#include <utility>

#include "foundation/format_text.h"

namespace quorvel::network::udp::lib_udp::v2_1 {

using mcgate::foundation::FormatText;

namespace {

SocketAddress resolveGroup(const std::string& text) {
    const SocketAddress group = resolve(text, 0);
    if (!IsMulticastAddress(group)) {
        throw std::runtime_error(FormatText("not a valid multicast address %s", text.c_str()));
    }
    return group;
}

template <class Alternative>
bool sameContent(const std::unique_ptr<Alternative>& left, const std::unique_ptr<Alternative>& right) {
    return left && right ? *left == *right : left == right;
}

}  // namespace

Endpoint::Endpoint() : unicast_(std::make_unique<UnicastEndpoint>()) {}

Endpoint::Endpoint(const UnicastEndpoint& unicast) : unicast_(std::make_unique<UnicastEndpoint>(unicast)) {}

Endpoint::Endpoint(const MulticastEndpoint& multicast)
    : tag_(kMulticast), multicast_(std::make_unique<MulticastEndpoint>(multicast)) {}

Endpoint::Endpoint(const Endpoint& other)
    : tag_(other.tag_),
      unicast_(other.unicast_ ? std::make_unique<UnicastEndpoint>(*other.unicast_) : nullptr),
      multicast_(other.multicast_ ? std::make_unique<MulticastEndpoint>(*other.multicast_) : nullptr) {}

Endpoint& Endpoint::operator=(const Endpoint& other) {
    Endpoint copy(other);
    swap(copy);
    return *this;
}

void Endpoint::swap(Endpoint& other) noexcept {
    std::swap(tag_, other.tag_);
    std::swap(unicast_, other.unicast_);
    std::swap(multicast_, other.multicast_);
}

bool operator==(const Endpoint& left, const Endpoint& right) noexcept {
    return left.tag_ == right.tag_ && sameContent(left.unicast_, right.unicast_) &&
           sameContent(left.multicast_, right.multicast_);
}

UnicastEndpoint MakeUnicastEndpoint(const std::string& local, std::uint32_t port) {
    return {resolveUnicast(local, port)};
}

MulticastEndpoint MakeMulticastEndpoint(const std::string& local, std::uint32_t port, const std::string& group,
                                        const std::string& source) {
    MulticastEndpoint result;
    result.Local = resolveUnicast(local, port);
    result.Group = resolveGroup(group);
    if (!source.empty()) result.Source = resolveUnicast(source, 0);
    return result;
}

Endpoint MakeEndpoint(const std::string& local, std::uint32_t port, const std::string& group,
                      const std::string& source) {
    SocketAddress decider;
    ResolveOrThrow(group, decider);
    const bool unicast = IsAnyAddress(decider);
    try {
        return unicast ? Endpoint(MakeUnicastEndpoint(local, port))
                       : Endpoint(MakeMulticastEndpoint(local, port, group, source));
    } catch (const std::exception&) {
        return unicast ? Endpoint(UnicastEndpoint{}) : Endpoint(MulticastEndpoint{});
    }
}

const SocketAddress& EndpointLocal(const Endpoint& endpoint) {
    if (endpoint.tag() == Endpoint::kUnicast && endpoint.unicast() != nullptr) return endpoint.unicast()->Local;
    if (endpoint.tag() == Endpoint::kMulticast && endpoint.multicast() != nullptr) return endpoint.multicast()->Local;
    throw std::runtime_error("internal assertion failure");
}

std::uint16_t EndpointPort(const Endpoint& endpoint) { return EndpointLocal(endpoint).networkPort(); }

std::uint16_t EndpointFamily(const Endpoint& endpoint) { return EndpointLocal(endpoint).family(); }

SocketAddress EndpointGroup(const Endpoint& endpoint) {
    EndpointLocal(endpoint);  // the tag is checked there
    return endpoint.multicast() != nullptr ? endpoint.multicast()->Group : SocketAddress{};
}

SocketAddress EndpointSource(const Endpoint& endpoint) {
    EndpointLocal(endpoint);
    return endpoint.multicast() != nullptr ? endpoint.multicast()->Source : SocketAddress{};
}

}  // namespace quorvel::network::udp::lib_udp::v2_1
