#include "streams/apart.h"

#include <filesystem>
#include <optional>

#include "cli/url.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

using platform::SocketAddress;

[[noreturn]] void refuse(const std::string& place, const std::string& taken, const std::string& right) {
    throw UsageError(place + ": " + taken + "; right would be " + right);
}

std::string outOf(const StreamSettings& stream) {
    const auto* receive = std::get_if<ReceiveSettings>(&stream.of);
    return receive != nullptr ? receive->out : std::string();
}

// By the names alone: nothing is looked up in file systems, which may stall.
bool isSameFile(const std::string& one, const std::string& other) {
    const auto whole = [](const std::string& name) {
        std::error_code ignored;
        return std::filesystem::absolute(name, ignored).lexically_normal();
    };
    return one == other || whole(one) == whole(other);
}

bool readsStandardInput(const StreamSettings& stream) {
    const auto* send = std::get_if<SendSettings>(&stream.of);
    return send != nullptr && send->input == "-";
}

std::string receivedBy(const StreamSettings& stream) {
    if (const auto* relay = std::get_if<RelaySettings>(&stream.of)) return relay->input;
    const auto* receive = std::get_if<ReceiveSettings>(&stream.of);
    return receive != nullptr ? receive->input : std::string();
}

/// Address and port of a unicast reception; nothing for another, or where the interface that it names has gone.
std::optional<SocketAddress> unicastPlace(const std::string& url) {
    if (url.empty()) return {};
    try {
        const ReceiveUrl parts = parseReceiveUrl(url);
        SocketAddress place;
        if (isGroup(parts.group) || platform::resolveNumeric(parts.local, parts.port, place) != 0) return {};
        return place;
    } catch (const UsageError&) {
        return {};
    }
}

bool areSamePlace(const std::optional<SocketAddress>& one, const std::optional<SocketAddress>& other) {
    if (!one || !other || one->family() != other->family() || one->port() != other->port()) return false;
    if (isAny(*one) || isAny(*other)) return true;
    return sameAddress(*one, *other) && one->scope() == other->scope();
}

}  // namespace

void checkApart(const StreamSettings& one, const StreamSettings& other, const std::string& path) {
    const std::string by = "is taken by '" + other.name + "'";
    if (one.name == other.name) refuse(path + ".name", "'" + one.name + "' stands twice", "another name");
    if (readsStandardInput(one) && readsStandardInput(other)) {
        refuse(path + ".input", "standard input " + by, "a file or a named pipe");
    }
    if (!outOf(one).empty() && isSameFile(outOf(one), outOf(other))) {
        refuse(path + ".out", "'" + outOf(one) + "' " + by, "another file");
    }
    if (areSamePlace(unicastPlace(receivedBy(one)), unicastPlace(receivedBy(other)))) {
        refuse(path + ".input", "'" + receivedBy(one) + "' " + by + ", and each datagram goes to one of the two",
               "another port, or a group, which both receive");
    }
}

}  // namespace mcgate::host
