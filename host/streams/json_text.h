#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace mcgate::host {

/// Reads JSON that comes from outside. Throws UsageError, `what` in front, for a text that is no JSON, one where a key
/// stands twice in an object, and one that is nested more than 16 deep: values are written and let go by recursion,
/// whose stack such a text would use up. `right` is what the error says would be right.
nlohmann::json parseJson(const std::string& text, const std::string& what, const std::string& right);

/// A value in a message: in ASCII on one line, a long one by its beginning.
std::string shown(const nlohmann::json& value);

/// On one line. What is no UTF-8 is replaced, so that every text parses.
std::string jsonText(const nlohmann::ordered_json& value);

}  // namespace mcgate::host
