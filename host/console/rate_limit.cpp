#include "console/rate_limit.h"

#include <algorithm>

namespace mcgate::host {

bool RateLimit::take(const std::string& client, Clock::time_point now) {
    const std::lock_guard hold(lock_);
    if (buckets_.size() >= kMostClients && !buckets_.contains(client)) {
        // Who was away long enough to have all tokens again needs no bucket.
        const std::chrono::duration<double> whole(burst_ / perSecond_);
        std::erase_if(buckets_, [&](const auto& bucket) { return now - bucket.second.filled >= whole; });
        if (buckets_.size() >= kMostClients) return false;
    }
    Bucket& bucket = buckets_.try_emplace(client, Bucket{burst_, now}).first->second;
    const std::chrono::duration<double> since = now - bucket.filled;
    bucket.tokens = std::min(burst_, bucket.tokens + perSecond_ * since.count());
    bucket.filled = now;
    if (bucket.tokens < 1) return false;
    bucket.tokens -= 1;
    return true;
}

}  // namespace mcgate::host
