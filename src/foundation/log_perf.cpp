#include "foundation/log_perf.h"

#include <cstdio>

#include "platform/process/process.h"

namespace quorvel::log::log_perf::v4 {

void formatLine(LogLine& line, const char* format, std::va_list arguments) noexcept {
    if (format == nullptr || std::vsnprintf(line.data(), line.size(), format, arguments) < 0) line[0] = '\0';
}

void DummyLogPerf::Log(std::uint32_t, const char* format, ...) {
    LogLine line;
    std::va_list arguments;
    va_start(arguments, format);
    formatLine(line, format, arguments);
    va_end(arguments);
    mcgate::process::writeDebugOutput(line.data());
    mcgate::process::writeDebugOutput("\n");
}

void DummyLogPerf::DeclareBuffer(const char*) {}
void DummyLogPerf::NotifyBufferFull(const char*) {}
void DummyLogPerf::PerfOp1(std::int32_t) {}
void DummyLogPerf::PerfOp2(std::int32_t) {}
void DummyLogPerf::PerfOp3(std::int32_t) {}
void DummyLogPerf::PerfOp4(std::int32_t) {}
void DummyLogPerf::PerfOp5(std::int32_t) {}

}  // namespace quorvel::log::log_perf::v4
