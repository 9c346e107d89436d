#include "streams/graph_base.h"

#include <stdexcept>
#include <utility>

#include "foundation/status.h"

namespace mcgate::host {

GraphBase::GraphBase(const StreamSettings& settings, NoticeSink sink, std::function<bool()> stopRequested,
                     std::int64_t offsetMs)
    : settings_(settings), sink_(std::move(sink)), stopRequested_(std::move(stopRequested)), log_(sink_, offsetMs) {}

void GraphBase::bring(StreamState wanted) {
    if (state_ == wanted) return;
    try {
        const bool starts = state_ == StreamState::Stopped;
        if (starts) begin();
        const HRESULT status = wanted == StreamState::Running ? graph_->run() : graph_->pause();
        if (FAILED(status)) throw std::runtime_error(whyNotStarted(status));
        if (starts) afterStart();
        state_ = wanted;
    } catch (...) {
        last_ = measure();
        end();
        throw;
    }
}

void GraphBase::begin() {
    ended_ = false;
    broken_ = S_OK;
    log_.restart();
    hadData_ = false;
    outages_ = 0;
    graph_ = FilterGraph::create();
    build(*graph_);
    beforeStart(*graph_);
}

void GraphBase::stop() {
    if (state_ == StreamState::Stopped) return;
    log_.tellFullBuffers();
    last_ = halt(*graph_, measure());
    last_.dataOutages = outages_;  // that a stop ends the data is none
    end();
}

void GraphBase::end() noexcept {
    state_ = StreamState::Stopped;
    if (graph_) graph_->tearDown();
    graph_ = {};
}

bool GraphBase::heed(std::chrono::milliseconds patience) {
    if (!graph_) return ended_;
    if (const auto event = graph_->nextEvent(patience)) {
        take(*event);
        const auto status = static_cast<HRESULT>(event->p1);
        if (event->code == EC_ERRORABORT) broken_ = FAILED(status) ? status : E_FAIL;
    }
    ended_ = ended_ || FAILED(broken_) || isOver();
    return ended_;
}

std::string GraphBase::failure() {
    std::string known = reason(state_ == StreamState::Stopped ? last_ : measure());
    if (!known.empty() || SUCCEEDED(broken_)) return known;
    return std::string("the ") + nameOf(settings_.kind()) + " broke off: " + GetStatusText(broken_);
}

StreamValues GraphBase::values() {
    if (state_ == StreamState::Stopped) return last_;
    log_.tellFullBuffers();
    StreamValues present = measure();
    countOutages(present);
    return present;
}

void GraphBase::countOutages(StreamValues& values) {
    if (std::exchange(hadData_, values.dataPresent) && !values.dataPresent) ++outages_;
    values.dataOutages = outages_;
}

StreamSettings GraphBase::settings() const {
    StreamSettings present = settings_;
    readBack(present);
    return present;
}

}  // namespace mcgate::host
