#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "interfaces/i_logger.h"

namespace mcgate::host {

/// The command's log: writes the filters' lines to standard error, counts notices of dry pools, and keeps the hold-back
/// that the sender tells of. Any thread.
class HostLog final : public ILogPerf {
public:
    explicit HostLog(bool showLines) : showLines_(showLines) {}

    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4)));
    void DeclareBuffer(const char*) override {}
    void NotifyBufferFull(const char*) override { ++bufferFull_; }
    void PerfOp1(std::int32_t) override {}
    void PerfOp2(std::int32_t) override {}
    void PerfOp3(std::int32_t) override {}
    void PerfOp4(std::int32_t) override {}
    void PerfOp5(std::int32_t) override {}

    /// The sum of configured and grown hold-back as last told, in milliseconds.
    int holdBackMs() const noexcept { return holdBackMs_.load(); }
    std::uint64_t bufferFullNotices() const noexcept { return bufferFull_.load(); }
    /// The last line of level 0, for the message of a failure.
    std::string lastError();

private:
    void follow(const char* line);

    const bool showLines_;
    std::mutex lock_;
    std::string lastError_;
    std::atomic<int> holdBackMs_{0};
    std::atomic<int> configuredMs_{0};
    std::atomic<std::uint64_t> bufferFull_{0};
};

}  // namespace mcgate::host
