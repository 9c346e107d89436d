#include "streams/json_text.h"

#include "cli/url.h"

namespace mcgate::host {

nlohmann::json parseJson(const std::string& text, const std::string& what, const std::string& right) {
    constexpr int kDeepest = 16;
    const auto checkDepth = [&](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
        if (depth <= kDeepest) return true;
        throw UsageError(what + ": it is nested more than " + std::to_string(kDeepest) + " deep; right would be " +
                         right);
    };
    try {
        return nlohmann::json::parse(text, checkDepth);
    } catch (const nlohmann::json::exception& problem) {
        const std::string reason = problem.what();
        const auto begin = reason.find("] ");
        throw UsageError(what + ": it is no JSON: " + (begin == std::string::npos ? reason : reason.substr(begin + 2)) +
                         "; right would be " + right);
    }
}

std::string jsonText(const nlohmann::ordered_json& value) {
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace mcgate::host
