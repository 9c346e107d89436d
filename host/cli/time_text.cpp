#include "cli/time_text.h"

#include <fmt/chrono.h>

namespace mcgate::host {

namespace {

using std::chrono::system_clock;

int milliseconds(system_clock::time_point time) {
    const auto since = std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch();
    return static_cast<int>(since.count() % 1000);
}

}  // namespace

std::string timeOfDay(system_clock::time_point time) {
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(system_clock::to_time_t(time)), milliseconds(time));
}

std::string utcTime(system_clock::time_point time) {
    return fmt::format("{:%FT%T}.{:03}Z", fmt::gmtime(system_clock::to_time_t(time)), milliseconds(time));
}

}  // namespace mcgate::host
