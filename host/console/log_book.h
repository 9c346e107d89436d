#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "console/event_hub.h"
#include "streams/notice.h"

namespace mcgate::host {

/// The last lines that the streams told, which are events, too: as many errors and warnings as lines of other levels,
/// so that a looped file's information doesn't push them out. Threads: any, also under filters' locks. A lock guards
/// the lines; the hub's is taken inside it, so that events come in the lines' order. Readers hold it for pointers
/// alone, since the sender's threads wait for it.
class LogBook {
public:
    static constexpr std::size_t kMostLines = 1000;  ///< of each of both

    explicit LogBook(EventHub& events) : events_(events) {}
    void add(const std::string& stream, const Notice& notice);
    /// {"lines": [...]}, those with a number above `after`, in the order of their numbers.
    nlohmann::ordered_json since(std::uint64_t after) const;

private:
    struct Line {
        std::uint64_t number;
        std::shared_ptr<const nlohmann::ordered_json> content;
    };
    using Ring = std::deque<Line>;

    EventHub& events_;
    mutable std::mutex lock_;
    Ring faults_;  ///< errors and warnings
    Ring others_;
    std::uint64_t last_ = 0;  ///< number of the last line
};

}  // namespace mcgate::host
