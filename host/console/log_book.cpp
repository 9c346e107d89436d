#include "console/log_book.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "cli/time_text.h"
#include "streams/json_text.h"

namespace mcgate::host {

namespace {

constexpr std::uint32_t kWarning = 1;  // what is worse has lower levels

const char* nameOf(Notice::Kind kind) {
    switch (kind) {
        case Notice::Kind::Interface:
            return "interface";
        case Notice::Kind::BufferFull:
            return "buffer_full";
        case Notice::Kind::State:
            return "state";
        case Notice::Kind::Log:
            break;
    }
    return "log";
}

}  // namespace

void LogBook::add(const std::string& stream, const Notice& notice) {
    nlohmann::ordered_json line{{"seq", 0},        {"time", utcTime(notice.time)}, {"level", notice.level},
                                {"graph", stream}, {"kind", nameOf(notice.kind)},  {"text", notice.text}};
    const std::lock_guard hold(lock_);
    line["seq"] = ++last_;
    events_.add("log", jsonText(line));
    Ring& ring = notice.level <= kWarning ? faults_ : others_;
    ring.push_back({last_, std::make_shared<const nlohmann::ordered_json>(std::move(line))});
    if (ring.size() > kMostLines) ring.pop_front();
}

nlohmann::ordered_json LogBook::since(std::uint64_t after) const {
    const auto fresh = [after](const Ring& ring) {
        return std::upper_bound(ring.begin(), ring.end(), after,
                                [](std::uint64_t number, const Line& line) { return number < line.number; });
    };
    std::vector<Line> found;
    found.reserve(2 * kMostLines);
    std::unique_lock hold(lock_);
    std::merge(fresh(faults_), faults_.end(), fresh(others_), others_.end(), std::back_inserter(found),
               [](const Line& one, const Line& other) { return one.number < other.number; });
    hold.unlock();
    auto lines = nlohmann::ordered_json::array();
    for (const auto& line : found) lines.push_back(*line.content);
    return {{"lines", std::move(lines)}};
}

}  // namespace mcgate::host
