#pragma once
// The logs that stand in while no host has plugged one in.

#include <array>
#include <atomic>
#include <cstdarg>

#include "interfaces/i_logger.h"

namespace quorvel::log::log_perf::v4 {

/// A line of a log: 259 bytes and the terminator.
using LogLine = std::array<char, 260>;
/// Formats into `line`, cutting what does not fit; a format error gives an empty line.
void formatLine(LogLine& line, const char* format, std::va_list arguments) noexcept;

/// Writes each text, then "\n" as a second output, to the platform's debug output; ignores levels, notices and
/// counters. Threads: any, no lock.
class DummyLogPerf : public ILogPerf {
public:
    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4)));
    void DeclareBuffer(const char* name) override;
    void NotifyBufferFull(const char* name) override;
    void PerfOp1(std::int32_t value) override;
    void PerfOp2(std::int32_t value) override;
    void PerfOp3(std::int32_t value) override;
    void PerfOp4(std::int32_t value) override;
    void PerfOp5(std::int32_t value) override;
};

/// Passes everything on to the plugged-in log, or to a `Fallback` of its own. Lines are formatted first, so that a log
/// is given the format "%s" and a finished text. Threads: any, no lock; plug() stores one word.
template <class Fallback>
class SmartLogPerf : public ILogPerf {
public:
    /// Null returns to the fallback.
    void plug(ILogPerf* log) noexcept { current.store(log != nullptr ? log : &fallback, std::memory_order_release); }

    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4))) {
        LogLine line;
        std::va_list arguments;
        va_start(arguments, format);
        formatLine(line, format, arguments);
        va_end(arguments);
        log().Log(level, "%s", line.data());
    }
    void DeclareBuffer(const char* name) override { log().DeclareBuffer(name); }
    void NotifyBufferFull(const char* name) override { log().NotifyBufferFull(name); }
    void PerfOp1(std::int32_t value) override { log().PerfOp1(value); }
    void PerfOp2(std::int32_t value) override { log().PerfOp2(value); }
    void PerfOp3(std::int32_t value) override { log().PerfOp3(value); }
    void PerfOp4(std::int32_t value) override { log().PerfOp4(value); }
    void PerfOp5(std::int32_t value) override { log().PerfOp5(value); }

private:
    ILogPerf& log() const noexcept { return *current.load(std::memory_order_acquire); }

    Fallback fallback;
    std::atomic<ILogPerf*> current{&fallback};
};

}  // namespace quorvel::log::log_perf::v4
