#pragma once

#include <stdexcept>

namespace mcgate::host {

/// A stop request came before a graph ran: what stood in its way then is no failure.
class StoppedEarly : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace mcgate::host
