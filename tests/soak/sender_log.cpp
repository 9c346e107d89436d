#include "soak/sender_log.h"

#include <cstdarg>
#include <cstdio>

#include "foundation/log_perf.h"

namespace soak {

void SenderLog::Log(std::uint32_t level, const char* format, ...) {
    if (level > 1) return;
    quorvel::log::log_perf::v4::LogLine line;
    std::va_list arguments;
    va_start(arguments, format);
    quorvel::log::log_perf::v4::formatLine(line, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "sender: %s\n", line.data());
}

}  // namespace soak
