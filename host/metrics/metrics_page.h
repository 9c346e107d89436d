#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "streams/stream_counts.h"
#include "streams/stream_set.h"

namespace mcgate::host {

/// Writes what streams do in the text exposition format of Prometheus, version 0.0.4; docs/METRICS.md lists it. A
/// counter of a graph doesn't go backwards from page to page for as long as the graph is on each, whatever is stopped,
/// run or made anew under its name.
/// Threads: one at a time.
class MetricsPage {
public:
    static constexpr const char* kType = "text/plain; version=0.0.4; charset=utf-8";

    explicit MetricsPage(std::string version) : version_(std::move(version)) {}
    std::string text(const std::vector<StreamSet::View>& streams);

private:
    const std::string version_;
    const std::chrono::system_clock::time_point start_ = std::chrono::system_clock::now();
    std::map<std::string, RunningSums> sums_;  ///< by graph
};

}  // namespace mcgate::host
