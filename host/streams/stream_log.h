#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "interfaces/i_logger.h"
#include "streams/notice.h"

namespace mcgate::host {

/// The log that a stream's filters are given: hands their lines on as notices, counts notices of dry pools, and keeps
/// the hold-back that the sender tells of. A line that repeats itself is told once a second.
/// Threads: any. One leaf lock over the members below it, not held while a notice is told.
class StreamLog final : public ILogPerf {
public:
    /// `configuredMs`: what the sender's hold-back grows from.
    explicit StreamLog(NoticeSink sink, std::int64_t configuredMs = 0);

    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4)));
    void DeclareBuffer(const char* name) override;
    void NotifyBufferFull(const char* name) override;
    void PerfOp1(std::int32_t) override {}
    void PerfOp2(std::int32_t) override {}
    void PerfOp3(std::int32_t) override {}
    void PerfOp4(std::int32_t) override {}
    void PerfOp5(std::int32_t) override {}

    /// A warning for each pool that was found dry since the last call, with the number of times. Called once a second.
    void tellFullBuffers();
    /// The sum of configured and grown hold-back as last told, in milliseconds.
    int holdBackMs() const noexcept { return holdBackMs_.load(); }
    std::uint64_t bufferFullNotices() const noexcept { return bufferFull_.load(); }
    /// The last line of level 0, for the message of a failure; empty when there was none.
    std::string lastError();
    /// Begins anew with hold-back, counts and last error.
    void restart();

private:
    static constexpr std::uint32_t kInformation = 2;
    void follow(const char* line);
    bool isNew(std::uint32_t level, const char* line);

    const NoticeSink sink_;
    const int configuredMs_;
    std::atomic<int> holdBackMs_;
    std::atomic<std::uint64_t> bufferFull_{0};

    struct Told {
        std::string line;
        std::chrono::steady_clock::time_point at;
    };
    std::mutex lock_;
    std::string lastError_;
    std::array<Told, kInformation + 1> told_;                        ///< by level
    std::map<std::string, std::uint64_t, std::less<>> fullBuffers_;  ///< notices since they were last told
};

}  // namespace mcgate::host
