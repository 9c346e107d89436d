#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace mcgate::host {

/// How often each client may ask: a bucket of tokens that fills at a steady rate.
/// Threads: any; a leaf lock guards the buckets.
class RateLimit {
public:
    using Clock = std::chrono::steady_clock;

    RateLimit(double perSecond, double burst) : perSecond_(perSecond), burst_(burst) {}
    /// Whether this client has one more; takes it.
    bool take(const std::string& client, Clock::time_point now = Clock::now());

private:
    static constexpr std::size_t kMostClients = 1024;
    struct Bucket {
        double tokens;
        Clock::time_point filled;
    };

    const double perSecond_;
    const double burst_;
    std::mutex lock_;
    std::map<std::string, Bucket> buckets_;
};

}  // namespace mcgate::host
