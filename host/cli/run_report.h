#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "cli/report.h"
#include "streams/stream_set.h"
#include "terminal/run_summary.h"
#include "terminal/terminal.h"

namespace mcgate::host {

/// Such as "2 of 3 streams running; 1 destination lost; north: the system has no route to 10.0.0.9", on one line.
/// `refusal`: why the profile wasn't taken at the last reload; it comes first, shortened. Empty: it was.
std::string stateWords(const std::vector<StreamSet::View>& streams, const std::string& refusal = {});

/// What a process with several streams reports on standard error: as JSON an object for each stream a second, as text
/// one line for all of them every ten seconds or on a terminal a table of them, and at the end each by itself, and
/// for a ticket a summary. One thread.
class RunReport {
public:
    RunReport(ReportForm form, Terminal& terminal, const RunSummary& summary)
        : form_(form), terminal_(terminal), summary_(summary) {}
    /// True once a second.
    bool due() const { return Clock::now() >= next_; }
    void write(const std::vector<StreamSet::View>& streams);
    void writeLast(const std::vector<StreamSet::View>& streams) const;

private:
    using Clock = std::chrono::steady_clock;
    void writeObject(const StreamSet::View& stream, double bitRate, bool final) const;
    static constexpr int kSecondsPerLine = 10;

    const ReportForm form_;
    Terminal& terminal_;
    const RunSummary& summary_;
    const Clock::time_point start_ = Clock::now();
    Clock::time_point next_ = start_ + std::chrono::seconds(1);
    int seconds_ = 0;
};

}  // namespace mcgate::host
