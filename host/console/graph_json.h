#pragma once

#include <nlohmann/json.hpp>

#include "streams/managed_stream.h"

namespace mcgate::host {

/// What the console tells of a stream beside its number and pages, as docs/CONSOLE.md describes it.
nlohmann::ordered_json graphJson(const StreamSettings& settings, const StreamSnapshot& snapshot);

}  // namespace mcgate::host
