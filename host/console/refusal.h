#pragma once

#include <stdexcept>
#include <string>

namespace mcgate::host {

/// A request that is refused, with a status of HTTP (RFC 9110, section 15) and a sentence for the user.
class Refusal : public std::runtime_error {
public:
    Refusal(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const noexcept { return status_; }

private:
    int status_;
};

}  // namespace mcgate::host
