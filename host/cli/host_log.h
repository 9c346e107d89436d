#pragma once

#include <spdlog/fwd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "cli/report.h"
#include "interfaces/i_logger.h"

namespace mcgate::host {

/// The command's log: writes the filters' lines with time and level to standard error, in the report's form, counts
/// notices of dry pools, and keeps the hold-back that the sender tells of. Levels 0 and 1 (error, warning) are told
/// whatever the form, since they alone say why nothing flows; those above (info) not without a report. A line that
/// repeats itself is told once a second.
/// Threads: any. One lock over the members below it, not held while a line is written.
class HostLog final : public ILogPerf {
public:
    /// `configuredMs`: what the sender's hold-back grows from. Null for `sink`: standard error.
    explicit HostLog(ReportForm form, std::int64_t configuredMs = 0, std::shared_ptr<spdlog::sinks::sink> sink = {});
    ~HostLog() override;

    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4)));
    void DeclareBuffer(const char* name) override;
    void NotifyBufferFull(const char* name) override;
    void PerfOp1(std::int32_t) override {}
    void PerfOp2(std::int32_t) override {}
    void PerfOp3(std::int32_t) override {}
    void PerfOp4(std::int32_t) override {}
    void PerfOp5(std::int32_t) override {}

    /// A warning for each pool that was found dry since the last call, with the number of times. The command calls it
    /// once a second.
    void tellFullBuffers();
    /// The sum of configured and grown hold-back as last told, in milliseconds.
    int holdBackMs() const noexcept { return holdBackMs_.load(); }
    std::uint64_t bufferFullNotices() const noexcept { return bufferFull_.load(); }
    /// The last line of level 0, for the message of a failure; empty when there was none.
    std::string lastError();

private:
    void follow(const char* line);
    bool isNew(std::uint32_t level, const char* line);

    const std::unique_ptr<spdlog::logger> lines_;
    const int configuredMs_;
    std::atomic<int> holdBackMs_;
    std::atomic<std::uint64_t> bufferFull_{0};

    std::mutex lock_;
    std::string lastError_;
    std::string lastTold_;
    std::chrono::steady_clock::time_point toldAt_;
    std::map<std::string, std::uint64_t, std::less<>> fullBuffers_;  ///< notices since they were last told
};

}  // namespace mcgate::host
