#pragma once

#include <cstdarg>
#include <cstdio>

#include "foundation/log_perf.h"

namespace soak {

/// Shows the sender's warnings and errors on standard error. Any thread.
class PrintingLog final : public quorvel::log::log_perf::v4::DummyLogPerf {
public:
    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4))) {
        if (level > 1) return;
        quorvel::log::log_perf::v4::LogLine line;
        std::va_list arguments;
        va_start(arguments, format);
        quorvel::log::log_perf::v4::formatLine(line, format, arguments);
        va_end(arguments);
        std::fprintf(stderr, "sender: %s\n", line.data());
    }
    void DeclareBuffer(const char*) override {}
    void NotifyBufferFull(const char*) override {}
};

}  // namespace soak
