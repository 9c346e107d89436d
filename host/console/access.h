#pragma once

#include <cstddef>
#include <string>

#include "http/own_names.h"

namespace httplib {
struct Request;
}

namespace mcgate::host {

/// Which requests the console hears. Every one must name this server in its Host, so that a foreign name that was made
/// to point here finds nothing (DNS rebinding). One that changes something must come from the console's own page: with
/// its Origin (RFC 6454) and its token, which is new at each start, and with a body of a declared type and length.
/// Where an access token is demanded, all of /api/, and the metrics, need the cookie that admit() gives; for a GET of
/// the metrics the token itself will do, since a monitor logs in nowhere.
/// Threads: any; nothing changes after the construction.
class Access {
public:
    static constexpr std::size_t kMostBody = 1U << 20;

    /// No access token is demanded where it is empty.
    Access(const ListenAddress& address, std::string accessToken);

    /// Throws Refusal. Looks at the head of a request alone, so it may be asked before the body is read.
    void check(const httplib::Request& request) const;
    /// Whether a request would have its token examined, so that tries can be counted.
    static bool offersToken(const httplib::Request& request);
    /// The value of Set-Cookie for one who knows the access token; throws Refusal otherwise.
    std::string admit(const std::string& token) const;

    const std::string& pageToken() const noexcept { return pageToken_; }

private:
    bool hasToken(const httplib::Request& request) const;
    void checkOrigin(const httplib::Request& request, const std::string& host) const;
    void checkChange(const httplib::Request& request) const;

    const OwnNames names_;
    const std::string accessToken_;
    const std::string pageToken_;
    const std::string cookie_;  ///< with the port in its name: browsers keep one jar for all ports of a host
};

}  // namespace mcgate::host
