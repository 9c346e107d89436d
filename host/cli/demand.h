#pragma once

#include <stdexcept>
#include <string>

#include "foundation/status.h"

namespace mcgate::host {

/// Throws std::runtime_error with what was wanted and the status's text when it failed.
inline void demand(HRESULT status, const std::string& what) {
    if (FAILED(status)) throw std::runtime_error(what + ": " + GetStatusText(status));
}

}  // namespace mcgate::host
