#include "console/log_book.h"

#include <algorithm>
#include <vector>

#include "cli/time_text.h"
#include "streams/json_text.h"

namespace mcgate::host {

namespace {

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
    lines_.push_back(std::make_shared<const nlohmann::ordered_json>(std::move(line)));
    if (lines_.size() > kMostLines) lines_.pop_front();
}

nlohmann::ordered_json LogBook::since(std::uint64_t after) const {
    std::unique_lock hold(lock_);
    const auto fresh =
        static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(last_ - std::min(after, last_), lines_.size()));
    const std::vector<std::shared_ptr<const nlohmann::ordered_json>> found(lines_.end() - fresh, lines_.end());
    hold.unlock();
    auto lines = nlohmann::ordered_json::array();
    for (const auto& line : found) lines.push_back(*line);
    return {{"lines", std::move(lines)}};
}

}  // namespace mcgate::host
