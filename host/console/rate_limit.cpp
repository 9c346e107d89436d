#include "console/rate_limit.h"

#include <algorithm>

#include "platform/socket.h"

namespace mcgate::host {

bool RateLimit::take(const std::string& client, Clock::time_point now) {
    const std::lock_guard hold(lock_);
    if (buckets_.size() >= kMostClients && !buckets_.contains(client)) makeRoom();
    Bucket& bucket = buckets_.try_emplace(client, Bucket{burst_, now}).first->second;
    const std::chrono::duration<double> since = now - bucket.filled;
    bucket.tokens = std::min(burst_, bucket.tokens + perSecond_ * since.count());
    bucket.filled = now;
    if (bucket.tokens < 1) return false;
    bucket.tokens -= 1;
    return true;
}

void RateLimit::giveBack(const std::string& client) {
    const std::lock_guard hold(lock_);
    const auto found = buckets_.find(client);
    if (found != buckets_.end()) found->second.tokens = std::min(burst_, found->second.tokens + 1);
}

void RateLimit::makeRoom() {
    buckets_.erase(std::min_element(buckets_.begin(), buckets_.end(), [](const auto& one, const auto& other) {
        return one.second.filled < other.second.filled;
    }));
}

std::string clientOf(const std::string& address) {
    platform::SocketAddress parsed;
    if (platform::resolveNumeric(address, 1, parsed) != 0) return address;
    const std::uint8_t* const bytes = parsed.address();
    if (parsed.family() == platform::kFamilyIPv4) return bytes[0] == 127 ? "loopback" : address;
    if (address == "::1") return "loopback";
    return {bytes, bytes + 8};
}

}  // namespace mcgate::host
