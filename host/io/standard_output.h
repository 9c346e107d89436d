#pragma once

#include <string>

namespace mcgate::host {

/// Writes an answer to standard output whole. Throws std::runtime_error when it doesn't take all of it.
void writeStandardOutput(const std::string& text);

}  // namespace mcgate::host
