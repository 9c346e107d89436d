#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "streams/stream_settings.h"
#include "streams/stream_values.h"
#include "terminal/run_summary.h"
#include "terminal/terminal.h"

namespace mcgate::host {

enum class ReportForm { Text, Json, None };

struct ReportOptions {
    ReportForm form = ReportForm::Text;
    std::string metrics;  ///< where they are served, see parseListenAddress; empty: nowhere
    std::string command;  ///< as it was typed, for the summary
};

/// The fields of a report, as docs/CLI.md has them.
nlohmann::ordered_json reportFields(const StreamValues& values, double seconds, std::optional<double> bitRate);
/// The same as the words of a line, without its name and time.
std::string reportWords(const StreamValues& values, std::optional<double> bitRate);

/// Tells once a second how a stream does, and a last time, on standard error: a line, a JSON object, or on a terminal
/// live rows and at the end their summary. One thread.
class Report {
public:
    Report(ReportForm form, StreamKind kind, Terminal& terminal, RunSummary& summary)
        : form_(form), kind_(kind), name_(nameOf(kind)), terminal_(terminal), summary_(summary) {}
    /// True once a second: it is time for the next line.
    bool due() const { return std::chrono::steady_clock::now() >= next_; }
    void write(const StreamValues& values, bool final);

private:
    using Clock = std::chrono::steady_clock;
    void writeJson(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final) const;
    void writeText(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final);
    std::string line(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final) const;
    void tellDrops(const StreamValues& values);

    const ReportForm form_;
    const StreamKind kind_;
    const std::string name_;
    Terminal& terminal_;
    RunSummary& summary_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point last_ = start_;
    Clock::time_point next_ = start_ + std::chrono::seconds(1);
    std::uint64_t lastBytes_ = 0;
    std::uint64_t toldDrops_ = 0;
};

}  // namespace mcgate::host
