#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/demand.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "filters/ts_file_source.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;

constexpr std::chrono::milliseconds kLook{100};

// A pipe can't be read again.
void checkLoop(const SendOptions& options) {
    struct stat kind {};
    const int found = options.input == "-" ? fstat(STDIN_FILENO, &kind) : stat(options.input.c_str(), &kind);
    if (!options.loop || found != 0 || S_ISREG(kind.st_mode) || S_ISBLK(kind.st_mode)) return;
    throw UsageError("--loop: " + (options.input == "-" ? std::string("standard input") : options.input) +
                     " can't be read again; right would be a file");
}

/// One run of the sending graph.
class Sending {
public:
    explicit Sending(const SendOptions& options)
        : options_(options),
          log_(options.report, options.offsetMs),
          report_(options.report, "send"),
          sender_(options, log_, report_) {}
    ~Sending() { graph_->tearDown(); }
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;

    int run() {
        try {
            build();
        } catch (const StoppedEarly&) {
            report_.write(values(), true);
            return 0;
        }
        sender_.letClockSettle(*graph_);
        if (FAILED(graph_->run())) throw std::runtime_error("can't start: " + log_.lastError());
        while (!stopRequested() && !ended()) {
            if (report_.due()) report_.write(values(), false);
        }
        sender_.filter()->Stop();  // first, as the graph would; what its loop still takes from its queue goes nowhere
        const StreamValues last = values();
        graph_->stop();
        report_.write(last, true);
        return conclude(last);
    }

private:
    void build() {
        auto& counter = sender_.counter();
        source_ =
            TsFileSource::create({options_.input, !options_.noPacing, options_.loop, stopRequested,
                                  [&counter](std::uint64_t id, std::size_t bytes) { counter.announce(id, bytes); }});
        demand(graph_->addFilter(source_.get(), "source"), "can't build the graph");
        demand(graph_->addFilter(sender_.filter(), "sender"), "can't build the graph");
        demand(graph_->connect(source_->GetPin(0), sender_.input().get()), "can't connect the sender");
    }
    int conclude(const StreamValues& last) {
        std::string error = source_->figures().error;
        if (error.empty() && last.datagrams == 0 && !log_.lastError().empty()) {
            error = "no datagram went out to all destinations: " + log_.lastError();
        }
        if (!error.empty()) std::fprintf(stderr, "mcgate: %s\n", error.c_str());
        return error.empty() ? 0 : 1;
    }
    bool ended() {
        const auto event = graph_->nextEvent(kLook);
        if (event) sender_.heed(*event);
        return event && (event->code == EC_COMPLETE || event->code == EC_ERRORABORT);
    }
    StreamValues values() {
        StreamValues result;
        sender_.fill(result, source_ ? source_->figures().samples : 0);
        return result;
    }

    const SendOptions& options_;
    HostLog log_;
    Report report_;
    SenderEnd sender_;
    ComPtr<FilterGraph> graph_ = FilterGraph::create();
    ComPtr<TsFileSource> source_;
};

}  // namespace

int runSend(const SendOptions& options) {
    checkLoop(options);
    return Sending(options).run();
}

}  // namespace mcgate::host
