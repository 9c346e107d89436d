#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "interfaces/i_logger.h"

namespace mcgate::host {

/// The command's log: writes the filters' lines to standard error, counts notices of dry pools, and keeps the hold-back
/// that the sender tells of. Lines of levels 0 and 1 are told whatever the report's form, since they alone say why
/// nothing flows; those above only on request. A line that repeats itself is told once a second. Any thread.
class HostLog final : public ILogPerf {
public:
    enum class Lines { Faults, All };
    /// `configuredMs`: what the sender's hold-back grows from.
    explicit HostLog(Lines lines, std::int64_t configuredMs = 0)
        : lines_(lines), configuredMs_(static_cast<int>(configuredMs)), holdBackMs_(configuredMs_) {}

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
    /// The last line of level 0, for the message of a failure; empty when there was none.
    std::string lastError();

private:
    void follow(const char* line);
    bool isNew(const char* line);

    const Lines lines_;
    const int configuredMs_;
    std::mutex lock_;
    std::string lastError_;
    std::string lastTold_;
    std::chrono::steady_clock::time_point toldAt_;
    std::atomic<int> holdBackMs_;
    std::atomic<std::uint64_t> bufferFull_{0};
};

}  // namespace mcgate::host
