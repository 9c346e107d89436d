#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "cli/demand.h"
#include "filters/ts_file_source.h"
#include "streams/graph_base.h"
#include "streams/sender_end.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;

std::string inputName(const std::string& input) { return input == "-" ? "standard input" : input; }

// A pipe can't be read again.
bool canReadAgain(const std::string& input) {
    struct stat kind {};
    const int found = input == "-" ? fstat(STDIN_FILENO, &kind) : stat(input.c_str(), &kind);
    return found != 0 || S_ISREG(kind.st_mode) || S_ISBLK(kind.st_mode);
}

SenderOptions optionsOf(const SendSettings& settings, const ConfigurationFiles& files) {
    return {settings.to, files.load, files.save, settings.offsetMs, !settings.pacing};
}

/// A source that reads a transport stream, and the sender.
class SendGraph final : public GraphBase {
public:
    SendGraph(const StreamSettings& settings, NoticeSink notices, std::function<bool()> stop,
              const ConfigurationFiles& files)
        : GraphBase(settings, std::move(notices), std::move(stop), std::get<SendSettings>(settings.of).offsetMs),
          settings_(std::get<SendSettings>(settings.of)),
          sender_(optionsOf(settings_, files), log(), sink()) {}
    ~SendGraph() override { end(); }

    ComPtr<IBaseFilter> sender() const override { return ComPtr<IBaseFilter>(sender_.filter()); }
    std::uint64_t datagrams() override { return sender_.counter().counts().datagrams; }

private:
    void build(FilterGraph& graph) override {
        source_ = {};
        sender_.restart(settings_.pacing);  // unpaced, it has none to keep
        if (wasRead_ && !canReadAgain(settings_.input)) {
            throw std::runtime_error(inputName(settings_.input) + " can't be read again; right would be a file");
        }
        auto& counter = sender_.counter();
        source_ = TsFileSource::create({settings_.input, settings_.pacing, settings_.loop, stopRequested(),
                                        [&counter](const SampleMark& mark) { counter.announce(mark); }});
        wasRead_ = true;
        demand(graph.addFilter(source_.get(), "source"), "can't build the graph");
        demand(graph.addFilter(sender_.filter(), "sender"), "can't build the graph");
        demand(graph.connect(source_->GetPin(0), sender_.input().get()), "can't connect the sender");
    }
    void beforeStart(FilterGraph& graph) override { sender_.prepare(graph, stopRequested()); }
    void afterStart() override { sender_.confirm(); }
    std::string whyNotStarted(HRESULT) override { return "can't start: " + log().lastError(); }
    void take(const FilterGraph::Event& event) override { sender_.heed(event); }
    bool isOver() const override { return source_ && source_->isOver(); }
    StreamValues measure() override {
        StreamValues result;
        const SourceFigures figures = source_ ? source_->figures() : SourceFigures{};
        sender_.fill(result, figures.samples);
        result.spacing = sender_.counter().spacing();
        if (source_) result.input = figures.place;
        return result;
    }
    // The sender first, as the graph would; what its loop still takes from its queue goes nowhere.
    StreamValues halt(FilterGraph& graph, const StreamValues& before) override {
        sender_.filter()->Stop();
        StreamValues last = measure();
        last.dataPresent = last.dataPresent || before.dataPresent;
        graph.stop();
        return last;
    }
    std::string reason(const StreamValues& last) override {
        std::string error = source_ ? source_->figures().error : std::string();
        if (error.empty() && last.datagrams == 0 && !log().lastError().empty()) {
            error = "no datagram went out to all destinations: " + log().lastError();
        }
        return error;
    }
    void readBack(StreamSettings& settings) const override {
        auto present = sender_.destinations();
        if (!present.empty()) std::get<SendSettings>(settings.of).to = std::move(present);
    }

    const SendSettings settings_;
    SenderEnd sender_;
    ComPtr<TsFileSource> source_;
    bool wasRead_ = false;
};

}  // namespace

std::unique_ptr<StreamGraph> makeSendGraph(const StreamSettings& settings, NoticeSink sink,
                                           std::function<bool()> stopRequested, const ConfigurationFiles& files) {
    const auto& send = std::get<SendSettings>(settings.of);
    if (send.loop && !canReadAgain(send.input)) {
        throw UsageError("--loop: " + inputName(send.input) + " can't be read again; right would be a file");
    }
    return std::make_unique<SendGraph>(settings, std::move(sink), std::move(stopRequested), files);
}

}  // namespace mcgate::host
