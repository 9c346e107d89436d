#pragma once

#include <string>

#include "streams/stream_settings.h"

namespace mcgate::host {

/// Throws UsageError, `path` in front, when two streams of one process would be in each other's way: by name, as
/// readers of standard input, as writers of one file, or as receivers on one unicast port. Waits for nothing.
void checkApart(const StreamSettings& one, const StreamSettings& other, const std::string& path);

}  // namespace mcgate::host
