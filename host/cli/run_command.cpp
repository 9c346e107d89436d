#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "cli/commands.h"
#include "cli/notice_printer.h"
#include "cli/run_report.h"
#include "cli/service_manager.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "metrics/metrics_server.h"
#include "streams/profile.h"
#include "streams/stream_set.h"

namespace mcgate::host {

namespace {

constexpr std::chrono::milliseconds kLook{100};

/// A profile's streams from the first reading to the end. A change of the set is made beside the main loop, which goes
/// on with reports and signs of life; it is one at a time.
class Running {
public:
    explicit Running(const RunOptions& options)
        : options_(options),
          printer_(options.report.form, "run", [this](const std::string& line) { terminal_.print(line); }),
          summary_("mcgate " MCGATE_VERSION, options.report.command),
          report_(options.report.form, terminal_, summary_),
          streams_([this](const std::string& stream, const Notice& notice) {
              summary_.heed(notice, stream);
              printer_.tell(notice, stream);
          }) {}

    void run() {
        const auto profile = readProfile(options_.profile);
        serveMetrics();
        streams_.apply(profile);
        manager_.ready();
        while (!stopRequested()) turn();
        manager_.stopping();
        streams_.beginEnd();  // a change that is being made makes no more
        if (change_.valid()) concludeChange();
        streams_.end();
        report_.writeLast(streams_.views());
    }

private:
    void serveMetrics() {
        if (options_.report.metrics.empty()) return;
        metrics_ = std::make_unique<MetricsServer>(parseListenAddress(options_.report.metrics), MCGATE_VERSION,
                                                   [this] { return streams_.views(); });
    }
    void turn() {
        std::this_thread::sleep_for(kLook);
        manager_.keepAlive();
        if (!change_.valid() && takeReloadRequest()) reload();
        if (change_.valid() && change_.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
            concludeChange();
            manager_.ready();
        }
        if (!report_.due()) return;
        const auto views = streams_.views();
        report_.write(views);
        manager_.status(stateWords(views, refusal_));
    }
    // A profile with one fault in it is refused as a whole.
    void reload() {
        manager_.reloading();
        try {
            auto profile = readProfile(options_.profile);
            change_ = std::async(std::launch::async, [this, profile = std::move(profile)] { streams_.apply(profile); });
            tell(2, options_.profile + " is read anew");
            refusal_.clear();
        } catch (const std::exception& problem) {  // std::system_error, too, where there is no thread for it
            refusal_ = problem.what();
            tell(0, "all streams go on as before: " + refusal_);
            manager_.ready();
        }
    }
    void concludeChange() {
        try {
            change_.get();
        } catch (const std::exception& problem) {
            if (stopRequested()) return;  // what wasn't made by then isn't missed
            tell(0, std::string("not all streams of the profile could be made: ") + problem.what());
        }
    }
    void tell(std::uint32_t level, const std::string& text) {
        Notice notice;
        notice.level = level;
        notice.kind = Notice::Kind::State;
        notice.text = text;
        summary_.heed(notice);
        printer_.tell(notice);
    }

    const RunOptions& options_;
    Terminal terminal_{Terminal::standardError()};
    NoticePrinter printer_;
    RunSummary summary_;
    RunReport report_;
    ServiceManager manager_;
    StreamSet streams_;
    std::string refusal_;  ///< of the last reload; empty: the profile was taken
    std::future<void> change_;
    std::unique_ptr<MetricsServer> metrics_;
};

}  // namespace

int runRun(const RunOptions& options) {
    watchReloadSignal();
    Running(options).run();
    return 0;
}

}  // namespace mcgate::host
