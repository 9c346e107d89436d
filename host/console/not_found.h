#pragma once

#include <stdexcept>

namespace mcgate::host {

/// Something was asked for by a number or name that nothing has; the text says which.
class NotFound : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace mcgate::host
