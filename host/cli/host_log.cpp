#include "cli/host_log.h"

#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "foundation/log_perf.h"

namespace mcgate::host {

namespace {
constexpr std::uint32_t kWarning = 1;
}

void HostLog::Log(std::uint32_t level, const char* format, ...) {
    quorvel::log::log_perf::v4::LogLine line;
    std::va_list arguments;
    va_start(arguments, format);
    quorvel::log::log_perf::v4::formatLine(line, format, arguments);
    va_end(arguments);
    follow(line.data());
    const std::lock_guard hold(lock_);
    if (level == 0) lastError_ = line.data();
    if (level > kWarning && lines_ != Lines::All) return;
    if (isNew(line.data())) std::fprintf(stderr, "mcgate: %s\n", line.data());
}

// A destination that fails does so with every sample.
bool HostLog::isNew(const char* line) {
    const auto now = std::chrono::steady_clock::now();
    if (lastTold_ == line && now - toldAt_ < std::chrono::seconds(1)) return false;
    lastTold_ = line;
    toldAt_ = now;
    return true;
}

void HostLog::follow(const char* line) {
    int configured = 0;  // not kept: the first line may come before the sender was configured
    int grown = 0;
    if (std::sscanf(line, "Time offset stabilizing from %d+%d ms", &configured, &grown) == 2 ||
        std::sscanf(line, "Time offset stabilized to %d+%d ms", &configured, &grown) == 2) {
        holdBackMs_ = configuredMs_ + grown;
    } else if (std::string_view(line) == "Flush end") {
        holdBackMs_ = configuredMs_;
    }
}

std::string HostLog::lastError() {
    const std::lock_guard hold(lock_);
    return lastError_;
}

}  // namespace mcgate::host
