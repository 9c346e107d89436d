#pragma once

#include <chrono>
#include <string>

namespace mcgate::host {

/// "14:03:05.250" of the local time.
std::string timeOfDay(std::chrono::system_clock::time_point time);
/// "2026-03-29T12:03:05.250Z", by RFC 3339.
std::string utcTime(std::chrono::system_clock::time_point time);

}  // namespace mcgate::host
