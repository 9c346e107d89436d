#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "streams/stream_settings.h"

namespace mcgate::host {

/// Profiles list the streams of one process as JSON (RFC 8259): docs/PROFILE.md tells the form, and
/// docs/profile.schema.json has it as a schema.

/// Reads a profile's text. Throws UsageError with the JSON path, the value and what would be right, for more than 1 MiB
/// or 64 streams, an unknown key, a wrong type, a wrong URL, a value out of its range, two streams that
/// are in each other's way (checkApart), or relays in a circle.
std::vector<StreamSettings> parseProfile(const std::string& text);
/// One stream, as an entry of "graphs" has it; `path` is named in errors.
StreamSettings parseStream(const nlohmann::json& entry, const std::string& path);
/// A whole profile, {"graphs": [...]}, which parseProfile reads as the same.
nlohmann::ordered_json profileJson(const std::vector<StreamSettings>& streams);

/// Throws UsageError, with the path in front, for a file that can't be read or holds no profile.
std::vector<StreamSettings> readProfile(const std::string& path);
/// Replaces the file in one step. Throws std::runtime_error with path and reason, and UsageError for what readProfile
/// would refuse.
void writeProfile(const std::string& path, const std::vector<StreamSettings>& streams);

}  // namespace mcgate::host
