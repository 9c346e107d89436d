#pragma once

#include <string>
#include <vector>

#include "http/listen_address.h"

namespace mcgate::host {

/// Which Host (RFC 9110, section 7.2) a server of this machine goes by: that of its address, 127.0.0.1, localhost and
/// [::1], each with the port, which may be left out where it is 80. On all of the machine's addresses, any number is
/// one. A foreign name that was made to point here is none (DNS rebinding).
/// Threads: any; nothing changes after the construction.
class OwnNames {
public:
    explicit OwnNames(const ListenAddress& address);
    /// `host` in lower case.
    bool contains(const std::string& host) const;
    /// What would be right, for an error.
    std::string right() const;

private:
    const bool anyAddress_;
    const std::string port_;  ///< with its colon
    const std::vector<std::string> hosts_;
};

/// With A to Z in lower case; names of hosts know no others.
std::string lowerCase(std::string text);

}  // namespace mcgate::host
