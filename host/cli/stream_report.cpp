#include "cli/stream_report.h"

namespace mcgate::host {

StreamReport::StreamReport(const ReportOptions& options, StreamKind kind)
    : terminal_(Terminal::standardError()),
      printer_(options.form, nameOf(kind), [this](const std::string& line) { terminal_.print(line); }),
      summary_("mcgate " MCGATE_VERSION, options.command),
      report_(options.form, kind, terminal_, summary_),
      metered_{1, nameOf(kind), kind, {}} {
    if (options.metrics.empty()) return;
    metrics_ = std::make_unique<MetricsServer>(parseListenAddress(options.metrics), MCGATE_VERSION,
                                               [this] { return metered(); });
}

NoticeSink StreamReport::sink() {
    return [this](const Notice& notice) {
        summary_.heed(notice);
        printer_.tell(notice);
    };
}

void StreamReport::write(const StreamValues& values, bool final) {
    {
        const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - start_;
        const std::lock_guard hold(lock_);
        metered_.snapshot.wanted = metered_.snapshot.state = final ? StreamState::Stopped : StreamState::Running;
        metered_.snapshot.values = values;
        metered_.snapshot.totals = countsOf(values, metered_.kind);
        metered_.snapshot.uptimeS = final ? 0 : whole.count();
    }
    report_.write(values, final);
}

std::vector<StreamSet::View> StreamReport::metered() const {
    const std::lock_guard hold(lock_);
    return {metered_};
}

}  // namespace mcgate::host
