#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cli/notice_printer.h"
#include "cli/report.h"
#include "metrics/metrics_server.h"
#include "terminal/run_summary.h"
#include "terminal/terminal.h"

namespace mcgate::host {

/// All that a command with one stream tells while it runs: notices and reports on standard error, and metrics.
/// Threads: one makes it, writes and lets it go; the sink is for any. A leaf lock guards what the metrics' threads
/// read.
class StreamReport {
public:
    /// Throws std::runtime_error where the metrics can't be served.
    StreamReport(const ReportOptions& options, StreamKind kind);
    StreamReport(const StreamReport&) = delete;
    StreamReport& operator=(const StreamReport&) = delete;

    /// For the stream's notices; this object outlives the stream.
    NoticeSink sink();
    void tellAddresses(const std::vector<std::string>& urls) { summary_.tellAddresses(urls); }
    bool due() const { return report_.due(); }
    /// To be called once a second while the stream runs, and a last time when it has ended.
    void write(const StreamValues& values, bool final);

private:
    std::vector<StreamSet::View> metered() const;

    Terminal terminal_;
    NoticePrinter printer_;
    RunSummary summary_;
    Report report_;
    mutable std::mutex lock_;
    StreamSet::View metered_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::unique_ptr<MetricsServer> metrics_;  ///< last: its threads use the rest
};

}  // namespace mcgate::host
