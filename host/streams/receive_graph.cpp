#include <algorithm>
#include <stdexcept>
#include <utility>

#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "filters/file_sink.h"
#include "streams/graph_base.h"
#include "streams/receiver_end.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;

/// The receiver, and a sink that measures and writes.
class ReceiveGraph final : public GraphBase {
public:
    ReceiveGraph(const StreamSettings& settings, NoticeSink notices, std::function<bool()> stop,
                 const ConfigurationFiles& files)
        : GraphBase(settings, std::move(notices), std::move(stop), 0),
          settings_(std::get<ReceiveSettings>(settings.of)),
          receiver_({settings_.input, files.load, settings_.timeoutMs}, log(), sink()) {
        if (!settings_.out.empty()) OutputFile::check(settings_.out);
        if (!files.save.empty()) saveConfiguration(*receiver_.filter(), files.save);
    }
    ~ReceiveGraph() override { end(); }

    ComPtr<IBaseFilter> receiver() const override { return ComPtr<IBaseFilter>(receiver_.filter()); }
    std::uint64_t datagrams() override { return sink_ ? sink_->datagrams() : 0; }

private:
    void build(FilterGraph& graph) override {
        sink_ = {};
        receiver_.restart();
        sink_ = FileSink::create(settings_.out, stopRequested(), beginning());
        demand(graph.addFilter(receiver_.filter(), "receiver"), "can't build the graph");
        demand(graph.addFilter(sink_.get(), "sink"), "can't build the graph");
        demand(graph.connect(receiver_.output().get(), sink_->GetPin(0)), "can't connect the receiver");
    }
    OutputFile::Begin beginning() const {
        using Begin = OutputFile::Begin;
        if (settings_.newFile) return wasWritten_ ? Begin::AppendOwn : Begin::New;
        return wasWritten_ || !settings_.emptied ? Begin::Append : Begin::Empty;
    }
    void afterStart() override {
        sink_->openFile();
        wasWritten_ = true;
    }
    std::string whyNotStarted(HRESULT status) override { return receiver_.whyNot(status); }
    StreamValues measure() override {
        const SinkFigures figures = sink_ ? sink_->figures() : SinkFigures{};
        StreamValues result;
        receiver_.fill(result);
        result.datagrams = figures.datagrams;
        result.bytes = figures.bytes;
        result.measure(figures.stream);
        return result;
    }
    StreamValues halt(FilterGraph& graph, const StreamValues& before) override {
        graph.stop();
        StreamValues last = measure();
        last.keepWhatAStopTakes(before);
        return last;
    }
    std::string reason(const StreamValues&) override { return sink_ ? sink_->figures().error : std::string(); }
    void readBack(StreamSettings& settings) const override {
        auto& receive = std::get<ReceiveSettings>(settings.of);
        receive.input = receiver_.source();
        receive.timeoutMs = std::min(receiver_.timeoutMs(), kMostTimeoutMs);
    }

    const ReceiveSettings settings_;
    ReceiverEnd receiver_;
    ComPtr<FileSink> sink_;
    bool wasWritten_ = false;
};

}  // namespace

std::unique_ptr<StreamGraph> makeReceiveGraph(const StreamSettings& settings, NoticeSink sink,
                                              std::function<bool()> stopRequested, const ConfigurationFiles& files) {
    return std::make_unique<ReceiveGraph>(settings, std::move(sink), std::move(stopRequested), files);
}

}  // namespace mcgate::host
