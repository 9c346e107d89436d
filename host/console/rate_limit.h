#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace mcgate::host {

/// How often each client may ask: a bucket of tokens that fills at a steady rate. Where there are more clients than
/// buckets, who was heard longest ago gives up its own.
/// Threads: any; a leaf lock guards the buckets.
class RateLimit {
public:
    using Clock = std::chrono::steady_clock;

    RateLimit(double perSecond, double burst) : perSecond_(perSecond), burst_(burst) {}
    /// Whether this client has one more; takes it. A client is what clientOf says.
    bool take(const std::string& client, Clock::time_point now = Clock::now());
    /// What was taken doesn't count.
    void giveBack(const std::string& client);

private:
    static constexpr std::size_t kMostClients = 1024;
    struct Bucket {
        double tokens;
        Clock::time_point filled;
    };

    void makeRoom();

    const double perSecond_;
    const double burst_;
    std::mutex lock_;
    std::map<std::string, Bucket> buckets_;
};

/// Who asks from an address: an IPv4 address; the /64 network of an IPv6 address, since a machine may have all of one
/// (RFC 4291, section 2.5.4); one name for whatever asks over the loopback interface.
std::string clientOf(const std::string& address);

}  // namespace mcgate::host
