#pragma once

#include <memory>
#include <optional>
#include <string>

#include "graph/filter_graph.h"
#include "streams/stream_graph.h"
#include "streams/stream_log.h"

namespace mcgate::host {

/// What the three kinds of stream graph have in common: the states, the graph's making and letting go, the values that
/// are kept. What each does in its own way are the private virtual functions. Threads: as of StreamGraph.
class GraphBase : public StreamGraph {
public:
    void run() final { bring(StreamState::Running); }
    void pause() final { bring(StreamState::Paused); }
    void stop() final;
    StreamState state() const noexcept final { return state_; }
    bool heed(std::chrono::milliseconds patience) final;
    std::string failure() final;
    StreamValues values() final;
    StreamSettings settings() const final;
    platform::ComPtr<IBaseFilter> sender() const override { return {}; }
    platform::ComPtr<IBaseFilter> receiver() const override { return {}; }

protected:
    GraphBase(const StreamSettings& settings, NoticeSink sink, std::function<bool()> stopRequested,
              std::int64_t offsetMs);

    /// For the destructor of each kind: the filters leave the graph while their ends are whole.
    void end() noexcept;
    const NoticeSink& sink() const noexcept { return sink_; }
    const std::function<bool()>& stopRequested() const noexcept { return stopRequested_; }
    StreamLog& log() noexcept { return log_; }

private:
    /// Adds and connects the filters in a new graph, with counts begun anew; throws.
    virtual void build(FilterGraph& graph) = 0;
    /// What is to be done before, and after, the filters run or pause out of stopped.
    virtual void beforeStart(FilterGraph&) {}
    virtual void afterStart() {}
    virtual std::string whyNotStarted(HRESULT status) = 0;
    /// By itself: the input is over, or it must not go on, for a reason that `reason` tells.
    virtual bool isOver() const { return false; }
    virtual void take(const FilterGraph::Event&) {}
    virtual StreamValues measure() = 0;
    /// Stops the filters in the order that loses nothing; `last`: as measured before. Gives the values to be kept.
    virtual StreamValues halt(FilterGraph& graph, const StreamValues& last) = 0;
    /// The reason of a failure as far as the filters know it; `last`: the kept values.
    virtual std::string reason(const StreamValues& last) = 0;
    /// Replaces the addresses by those that the filters have.
    virtual void readBack(StreamSettings& settings) const = 0;

    void bring(StreamState wanted);
    void begin();
    void countOutages(StreamValues& values);

    const StreamSettings settings_;
    const NoticeSink sink_;
    const std::function<bool()> stopRequested_;
    StreamLog log_;
    platform::ComPtr<FilterGraph> graph_;
    StreamState state_ = StreamState::Stopped;
    bool ended_ = false;
    HRESULT broken_ = S_OK;  ///< with which the stream broke off
    StreamValues last_;
    bool hadData_ = false;  ///< at the last look
    std::uint64_t outages_ = 0;
};

std::unique_ptr<StreamGraph> makeSendGraph(const StreamSettings& settings, NoticeSink sink,
                                           std::function<bool()> stopRequested, const ConfigurationFiles& files);
std::unique_ptr<StreamGraph> makeReceiveGraph(const StreamSettings& settings, NoticeSink sink,
                                              std::function<bool()> stopRequested, const ConfigurationFiles& files);
std::unique_ptr<StreamGraph> makeRelayGraph(const StreamSettings& settings, NoticeSink sink,
                                            std::function<bool()> stopRequested);

}  // namespace mcgate::host
