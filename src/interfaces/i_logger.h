#pragma once
// The log that a host may plug into the filters. Plain abstract classes without reference counting: whoever plugs one
// in keeps it alive until it is unplugged. Every operation may be called from several threads at once.

#include <cstdint>

namespace quorvel::log::i_logger::v0 {

/// A log of text lines. Levels: 0 for what stopped something, 1 for what was refused or dropped, 2 for progress.
class ILogger {
public:
    /// Takes a printf-style format (UTF-8) and its arguments. A line holds at most 260 bytes, terminator included.
    virtual void Log(std::uint32_t level, const char* format, ...) __attribute__((format(printf, 3, 4))) = 0;
    virtual ~ILogger() = default;
};

}  // namespace quorvel::log::i_logger::v0

namespace quorvel::log::i_buffer_full_notifier::v0 {

/// Hears of sample pools and of each request that found one dry. NotifyBufferFull is on the road of samples: keep it
/// cheap.
class IBufferFullNotifier {
public:
    virtual void DeclareBuffer(const char* name) = 0;
    virtual void NotifyBufferFull(const char* name) = 0;
    virtual ~IBufferFullNotifier() = default;
};

}  // namespace quorvel::log::i_buffer_full_notifier::v0

/// What ISenderConfig::SetLogPerf and ISourceConfig::SetLogPerf take. The five counters are not called by the filters.
class ILogPerf : public quorvel::log::i_logger::v0::ILogger,
                 public quorvel::log::i_buffer_full_notifier::v0::IBufferFullNotifier {
public:
    virtual void PerfOp1(std::int32_t value) = 0;
    virtual void PerfOp2(std::int32_t value) = 0;
    virtual void PerfOp3(std::int32_t value) = 0;
    virtual void PerfOp4(std::int32_t value) = 0;
    virtual void PerfOp5(std::int32_t value) = 0;
};
