#pragma once

#include <map>
#include <string>

#include "cli/url.h"
#include "streams/notice.h"
#include "streams/stream_values.h"

namespace mcgate::host {

/// Whether the system has a way to each destination of a sender. The filter takes a way that is missing for a state
/// that passes, and counts what it sends there as sent; so somebody else has to tell.
/// Threads: one. A look asks the kernel about each destination, some microseconds.
class DestinationWatch {
public:
    explicit DestinationWatch(NoticeSink sink) : sink_(std::move(sink)) {}

    /// A run begins.
    void restart() { known_.clear(); }
    /// Looks at one destination and tells when something has changed: it has no way any more, or one again. One whose
    /// local address isn't there in a run's first look is left out by the filter for that run.
    StreamValues::Destination look(const std::string& text, const SendUrl& url);

private:
    struct Known {
        std::string fault;
        bool leftOut = false;
    };
    void tell(std::uint32_t level, const std::string& text) const;

    const NoticeSink sink_;
    std::map<std::string, Known> known_;  ///< by text
};

}  // namespace mcgate::host
