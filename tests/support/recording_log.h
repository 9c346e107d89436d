#pragma once

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/log_perf.h"
#include "support/notes.h"

namespace test {

/// A log that keeps its lines and counts the buffer notices. Any thread.
class RecordingLog final : public quorvel::log::log_perf::v4::DummyLogPerf {
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
        lines_.add({level, format, line.data()});
    }
    void DeclareBuffer(const char* name) override { declared_.add(name); }
    void NotifyBufferFull(const char* name) override { full_.add(name); }

    std::vector<Line> lines() { return lines_.all(); }
    int count(std::string_view text) { return static_cast<int>(levels(text).size()); }
    /// Levels of the lines that hold the text, in the order of the lines: tells how often and how loud at once.
    std::vector<std::uint32_t> levels(std::string_view text) { return levelsIn(lines(), text); }
    /// False when no line holds the text by the deadline.
    bool waitFor(std::string_view text) {
        return lines_.waitFor([text](const std::vector<Line>& all) { return !levelsIn(all, text).empty(); });
    }
    int declared() { return static_cast<int>(declared_.all().size()); }
    int full() { return static_cast<int>(full_.all().size()); }
    int fullNotices() { return static_cast<int>(full_.all().size()); }
    bool waitForFull(int times) { return full_.waitForCount(static_cast<std::size_t>(times)); }

private:
    static std::vector<std::uint32_t> levelsIn(const std::vector<Line>& all, std::string_view text) {
        std::vector<std::uint32_t> found;
        for (const auto& line : all) {
            if (line.text.find(text) != std::string::npos) found.push_back(line.level);
        }
        return found;
    }

    Notes<Line> lines_;
    Notes<std::string> declared_;
    Notes<std::string> full_;
};

}  // namespace test
