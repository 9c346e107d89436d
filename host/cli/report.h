#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "streams/stream_values.h"

namespace mcgate::host {

enum class ReportForm { Text, Json, None };

/// The fields of a report, as docs/CLI.md has them.
nlohmann::ordered_json reportFields(const StreamValues& values, double seconds, std::optional<double> bitRate);
/// The same as the words of a line, without its name and time.
std::string reportWords(const StreamValues& values, std::optional<double> bitRate);

/// Writes a line or a JSON object a second to standard error, and a last one. One thread.
class Report {
public:
    explicit Report(ReportForm form, std::string name) : form_(form), name_(std::move(name)) {}
    /// True once a second: it is time for the next line.
    bool due() const { return std::chrono::steady_clock::now() >= next_; }
    void write(const StreamValues& values, bool final);

private:
    using Clock = std::chrono::steady_clock;
    void writeJson(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final) const;
    void writeText(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final) const;
    void tellDrops(const StreamValues& values);

    const ReportForm form_;
    const std::string name_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point last_ = start_;
    Clock::time_point next_ = start_ + std::chrono::seconds(1);
    std::uint64_t lastBytes_ = 0;
    std::uint64_t toldDrops_ = 0;
};

}  // namespace mcgate::host
