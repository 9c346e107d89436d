#include "cli/saved_configuration.h"

#include <algorithm>
#include <stdexcept>

#include "platform/socket.h"
#include "platform/socket_address.h"

namespace mcgate::host {

namespace {

using platform::SocketAddress;

constexpr std::size_t kAddress = SocketAddress::kSize;
constexpr std::size_t kDestination = 2 * kAddress;
constexpr std::size_t kReceiver = 3 * kAddress + 2;

[[noreturn]] void refuse(std::size_t offset, const std::string& reason) {
    throw std::runtime_error("offset " + std::to_string(offset) + ": " + reason);
}

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

bool isAbsent(const SocketAddress& address) { return address == SocketAddress{}; }

bool isUnicast(const SocketAddress& address) {
    return !isAbsent(address) && !isMulticast(address) && !isReserved(address);
}

/// Takes a configuration apart, from its front on.
class Examiner {
public:
    explicit Examiner(const std::vector<std::uint8_t>& content) : content_(content) {}

    decltype(SavedConfiguration::filter) filter() {
        passVersion();
        const std::size_t left = content_.size() - place_;
        if (left == kReceiver) return receiver();
        if (left == 0) refuse(place_, "the file ends behind the version");
        const std::size_t count = content_[place_];
        const std::size_t records = (left - 1) / kDestination;
        if ((left - 1) % kDestination == 0 && records % 256 == count) return sender(records);
        refuse(place_, counted(left, "byte") + " behind the version; right would be " + std::to_string(kReceiver) +
                           " for a receiver, or " + std::to_string(1 + count * kDestination) + " for a sender of " +
                           counted(count, "destination"));
    }

    std::vector<std::string> takeLinked() noexcept { return std::move(linked_); }

private:
    void passVersion() {
        char16_t unit = takeUnit();
        if (unit == u'-') unit = takeUnit();
        while (unit >= u'0' && unit <= u'9') unit = takeUnit();
        if (unit == u' ' || unit == u'\t' || unit == u'\n' || unit == u'\r' || unit == 0) return;
        refuse(place_ - 2, "the version in front is no number with a blank behind it");
    }
    char16_t takeUnit() {
        if (content_.size() - place_ < 2) refuse(content_.size(), "the file ends within the version");
        place_ += 2;
        return static_cast<char16_t>(content_[place_ - 2] | content_[place_ - 1] << 8);
    }
    SavedConfiguration::Sender sender(std::size_t records) {
        SavedConfiguration::Sender result;
        result.loadable = content_[place_++];
        for (std::size_t i = 0; i < records; ++i) {
            const SocketAddress local = takeSide("local address");
            if (isAbsent(local)) refuse(place_ - kAddress, "a destination without a local address");
            const SocketAddress remote = takeAddress("remote address");
            if (isAbsent(remote)) refuse(place_ - kAddress, "a destination without a remote address");
            result.destinations.push_back({platform::numericText(remote), remote.port(), platform::numericText(local)});
        }
        return result;
    }
    SavedConfiguration::Receiver receiver() {
        const SocketAddress local = takeAddress("local address");
        const std::size_t behindLocal = place_;
        const auto port = static_cast<std::uint16_t>(content_[place_] << 8 | content_[place_ + 1]);
        place_ += 2;
        const SocketAddress group = takePortless("group");
        const SocketAddress source = takeSide("source");
        if (isAbsent(local) && port == 0 && isAbsent(group) && isAbsent(source)) return {};

        if (!isUnicast(local)) refuse(behindLocal - kAddress, "the local address is not unicast");
        if (port == 0) refuse(behindLocal, "port 0; right would be 1 to 65535");
        if (port != local.port()) {
            refuse(behindLocal, "port " + std::to_string(port) + " is not that of the local address, " +
                                    std::to_string(local.port()));
        }
        if (!isAbsent(group) && !isMulticast(group)) refuse(behindLocal + 2, "the group is not multicast");
        if (isAbsent(group) && !isAbsent(source)) refuse(place_ - kAddress, "a source without a group");
        return {true,
                {platform::numericText(source), isAbsent(group) ? "0.0.0.0" : platform::numericText(group),
                 platform::numericText(local), port}};
    }
    // An address to send or join from, or none.
    SocketAddress takeSide(const std::string& what) {
        const SocketAddress address = takePortless(what);
        if (!isAbsent(address) && !isUnicast(address)) refuse(place_ - kAddress, "the " + what + " is not unicast");
        return address;
    }
    SocketAddress takePortless(const std::string& what) {
        const SocketAddress address = takeAddress(what);
        if (address.port() != 0) refuse(place_ - kAddress + 2, "the " + what + " has a port; right would be 0");
        return address;
    }
    // An address of a known family, or none.
    SocketAddress takeAddress(const std::string& what) {
        SocketAddress address;
        std::copy_n(content_.begin() + static_cast<std::ptrdiff_t>(place_), kAddress, address.bytes.begin());
        std::size_t proper = 0;
        if (address.family() == platform::kFamilyIPv4) proper = 8;
        if (address.family() == platform::kFamilyIPv6) proper = 28;
        if (proper == 0 && address.family() != platform::kFamilyNone) {
            refuse(place_, "the " + what + " has the family " + std::to_string(address.family()) +
                               "; right would be 2 (IPv4), 23 (IPv6) or 0 (none)");
        }
        for (std::size_t i = proper; i < kAddress; ++i) {
            if (address.bytes[i] != 0) refuse(place_ + i, "a byte behind the " + what + " is not 0");
        }
        place_ += kAddress;
        if (address.scope() != 0) {
            linked_.push_back(platform::numericText(address) + '%' + std::to_string(address.scope()));
        }
        return address;
    }

    const std::vector<std::uint8_t>& content_;
    std::vector<std::string> linked_;
    std::size_t place_ = 0;
};

}  // namespace

SavedConfiguration examineConfiguration(std::vector<std::uint8_t> content) {
    Examiner examiner(content);
    auto filter = examiner.filter();
    return {std::move(filter), std::move(content), examiner.takeLinked()};
}

std::vector<std::string> lostByLoad(const SavedConfiguration& saved) {
    std::vector<std::string> lines;
    const auto* sender = std::get_if<SavedConfiguration::Sender>(&saved.filter);
    if (sender != nullptr && sender->loadable != sender->destinations.size()) {
        lines.push_back("a load takes the first " + std::to_string(sender->loadable) +
                        " alone: their number is saved in one byte");
    }
    for (const auto& address : saved.linked) {
        lines.push_back("a load leaves out the interface of " + address + ": give that address by a URL");
    }
    return lines;
}

namespace {

std::string inWords(const SavedConfiguration::Receiver& receiver) {
    if (!receiver.configured) return "a receiver, not configured";
    const ReceiveUrl& url = receiver.source;
    const std::string port = "port " + std::to_string(url.port);
    if (!isGroup(url.group)) return "a receiver of unicast on " + url.local + ", " + port;
    const std::string source = url.source.empty() ? "any source" : "the source " + url.source;
    return "a receiver of group " + url.group + " from " + source + " on the interface of " + url.local + ", " + port;
}

std::vector<std::string> inWords(const SavedConfiguration::Sender& sender) {
    std::vector<std::string> lines{"a sender to " + counted(sender.destinations.size(), "destination")};
    for (const SendUrl& url : sender.destinations) {
        lines.push_back("to " + url.remote + ", port " + std::to_string(url.port) + ", from " + url.local);
    }
    return lines;
}

}  // namespace

std::vector<std::string> describe(const SavedConfiguration& saved) {
    const auto* receiver = std::get_if<SavedConfiguration::Receiver>(&saved.filter);
    auto lines = receiver != nullptr ? std::vector{inWords(*receiver)}
                                     : inWords(std::get<SavedConfiguration::Sender>(saved.filter));
    for (auto& lost : lostByLoad(saved)) lines.push_back(std::move(lost));
    return lines;
}

}  // namespace mcgate::host
