#pragma once

#include <string>

namespace mcgate::foundation {

/// printf-style formatting into a string of any length; a null format gives an empty one.
std::string FormatText(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace mcgate::foundation
