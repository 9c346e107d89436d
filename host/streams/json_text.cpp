#include "streams/json_text.h"

#include <set>
#include <vector>

#include "cli/url.h"

namespace mcgate::host {

namespace {

using Json = nlohmann::json;
using Event = Json::parse_event_t;

/// Watches a text as it is parsed, for what the parser would take in silence.
class Watch {
public:
    Watch(const std::string& what, const std::string& right) : what_(what), right_(right) {}

    bool operator()(int depth, Event event, const Json& value) {
        if (depth > kDeepest) refuse("it is nested more than " + std::to_string(kDeepest) + " deep", right_);
        switch (event) {
            case Event::key:
                takeKey(value.get<std::string>());
                break;
            case Event::object_start:
            case Event::array_start:
                begin();
                open_.push_back({event == Event::array_start, 0, {}, {}});
                break;
            case Event::object_end:
            case Event::array_end:
                open_.pop_back();
                break;
            case Event::value:
                begin();
        }
        return true;
    }

private:
    static constexpr int kDeepest = 16;

    /// An object or list that has begun.
    struct Open {
        bool list = false;
        std::size_t begun = 0;  ///< entries of a list
        std::set<std::string> keys;
        std::string key;  ///< the last one
    };

    void begin() {
        if (!open_.empty()) ++open_.back().begun;
    }
    void takeKey(const std::string& key) {
        open_.back().key = key;
        if (open_.back().keys.insert(key).second) return;
        std::string path;
        for (const auto& one : open_) {
            if (one.list) {
                path += "[" + std::to_string(one.begun - 1) + "]";
            } else {
                path += (path.empty() ? "" : ".") + one.key;
            }
        }
        refuse(shown(path) + " stands twice", "one of the two");
    }
    [[noreturn]] void refuse(const std::string& reason, const std::string& right) const {
        throw UsageError(what_ + ": " + reason + "; right would be " + right);
    }

    const std::string what_;
    const std::string right_;
    std::vector<Open> open_;
};

}  // namespace

nlohmann::json parseJson(const std::string& text, const std::string& what, const std::string& right) {
    try {
        Watch watch(what, right);
        return Json::parse(text,
                           [&watch](int depth, Event event, const Json& value) { return watch(depth, event, value); });
    } catch (const Json::exception& problem) {
        const std::string reason = problem.what();
        const auto begin = reason.find("] ");
        throw UsageError(what + ": it is no JSON: " + (begin == std::string::npos ? reason : reason.substr(begin + 2)) +
                         "; right would be " + right);
    }
}

std::string shown(const nlohmann::json& value) {
    constexpr std::size_t kMost = 80;
    const std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    return text.size() <= kMost ? text : text.substr(0, kMost) + "...";
}

std::string jsonText(const nlohmann::ordered_json& value) {
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace mcgate::host
