#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/log_perf.h"
#include "interfaces/i_logger.h"

namespace test {

/// A log that keeps its lines and counts the buffer notices. Any thread.
class RecordingLog final : public ILogPerf {
public:
    struct Line {
        std::uint32_t level;
        std::string format;
        std::string text;
    };

    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4))) {
        quorvel::log::log_perf::v4::LogLine line;
        std::va_list arguments;
        va_start(arguments, format);
        quorvel::log::log_perf::v4::formatLine(line, format, arguments);
        va_end(arguments);
        const std::lock_guard hold(lock_);
        lines_.push_back({level, format, line.data()});
        changed_.notify_all();
    }
    void DeclareBuffer(const char* name) override { note(declared_, name); }
    void NotifyBufferFull(const char* name) override { note(full_, name); }
    void PerfOp1(std::int32_t) override {}
    void PerfOp2(std::int32_t) override {}
    void PerfOp3(std::int32_t) override {}
    void PerfOp4(std::int32_t) override {}
    void PerfOp5(std::int32_t) override {}

    std::vector<Line> lines() {
        const std::lock_guard hold(lock_);
        return lines_;
    }
    int count(std::string_view text) {
        const std::lock_guard hold(lock_);
        return countLocked(text);
    }
    /// Levels of the lines that hold the text, in the order of the lines: tells how often and how loud at once.
    std::vector<std::uint32_t> levels(std::string_view text) {
        const std::lock_guard hold(lock_);
        std::vector<std::uint32_t> found;
        for (const auto& line : lines_) {
            if (line.text.find(text) != std::string::npos) found.push_back(line.level);
        }
        return found;
    }
    /// False when fewer than `times` lines hold the text by the deadline.
    bool waitFor(std::string_view text, int times = 1, std::chrono::seconds deadline = std::chrono::seconds(20)) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, deadline, [&] { return countLocked(text) >= times; });
    }
    int declared() {
        const std::lock_guard hold(lock_);
        return static_cast<int>(declared_.size());
    }
    int full() {
        const std::lock_guard hold(lock_);
        return static_cast<int>(full_.size());
    }
    bool waitForFull(int times) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, std::chrono::seconds(20),
                                 [&] { return static_cast<int>(full_.size()) >= times; });
    }

private:
    int countLocked(std::string_view text) const {
        int found = 0;
        for (const auto& line : lines_) found += line.text.find(text) != std::string::npos ? 1 : 0;
        return found;
    }
    void note(std::vector<std::string>& list, const char* name) {
        const std::lock_guard hold(lock_);
        list.emplace_back(name);
        changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<Line> lines_;
    std::vector<std::string> declared_;
    std::vector<std::string> full_;
};

}  // namespace test
