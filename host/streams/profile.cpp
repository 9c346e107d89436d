#include "streams/profile.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "cli/way_back.h"
#include "platform/file_stream.h"
#include "streams/apart.h"
#include "streams/json_text.h"
#include "streams/relay_circle.h"
#include "streams/stream_set.h"

namespace mcgate::host {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostText = 1U << 20;
constexpr std::ptrdiff_t kMostName = 64;
constexpr std::size_t kMostFileName = 4096;
constexpr std::size_t kMostUrl = 256;
constexpr std::size_t kMostDestinations = 255;  // as a saved configuration holds
constexpr std::int64_t kHour = 3'600'000;
constexpr const char* kForm = R"({"graphs": [...]})";
constexpr const char* kList = R"(a list such as ["udp://239.1.1.1:5000"])";
constexpr const char* kKinds = "send, receive or relay";

[[noreturn]] void refuse(const std::string& path, const std::string& reason, const std::string& right) {
    throw UsageError(path + ": " + reason + "; right would be " + right);
}

// Of UTF-8: each begins with a byte that continues none.
std::ptrdiff_t characters(const std::string& text) {
    return std::count_if(text.begin(), text.end(), [](char one) { return (one & 0xC0) != 0x80; });
}

bool isControl(char one) { return static_cast<unsigned char>(one) < 0x20 || one == 0x7F; }

std::string plainText(const Json& value, const std::string& path, std::size_t most) {
    const auto* text = value.get_ptr<const std::string*>();
    if (text == nullptr || text->empty() || std::any_of(text->begin(), text->end(), isControl)) {
        refuse(path, shown(value) + " is no text, an empty one, or one with control characters", "a text");
    }
    if (text->size() > most) refuse(path, shown(value) + " is too long", "up to " + std::to_string(most) + " bytes");
    return *text;
}

/// An object of a profile, whose keys are asked for one by one.
class Entry {
public:
    Entry(const Json& value, std::string path) : value_(value), path_(std::move(path)) {
        if (!value.is_object()) refuse(path_, shown(value) + " is no object", R"({"name": ..., "kind": ..., ...})");
    }
    std::string at(const std::string& key) const { return path_ + "." + key; }
    bool has(const char* key) const { return value_.contains(key); }

    /// `right`: what belongs under the key, for one who left it out.
    std::string text(const char* key, const char* right, std::size_t most = kMostFileName) {
        return plainText(needed(key, right), at(key), most);
    }
    std::string textOr(const char* key, const char* otherwise) {
        known_.insert(key);
        return has(key) ? text(key, "a text") : otherwise;
    }
    bool truth(const char* key, bool otherwise) {
        known_.insert(key);
        if (!has(key)) return otherwise;
        const Json& value = value_.at(key);
        if (!value.is_boolean()) refuse(at(key), shown(value) + " is neither true nor false", "true or false");
        return value;
    }
    std::int64_t number(const char* key, std::int64_t least, std::int64_t most, std::int64_t otherwise) {
        known_.insert(key);
        if (!has(key)) return otherwise;
        const Json& value = value_.at(key);
        // Above the signed ones a number would be compared as a negative one.
        const bool isSigned = !value.is_number_unsigned() || value.get<std::uint64_t>() <= std::uint64_t{INT64_MAX};
        if (!value.is_number_integer() || !isSigned || value < least || value > most) {
            refuse(at(key), shown(value) + " is no whole number of milliseconds in the range",
                   std::to_string(least) + " to " + std::to_string(most));
        }
        return value;
    }
    const Json& list(const char* key) {
        const Json& value = needed(key, kList);
        if (!value.is_array() || value.empty()) {
            refuse(at(key), shown(value) + " is no list, or an empty one", kList);
        }
        if (value.size() > kMostDestinations) {
            refuse(at(key), "a list of " + std::to_string(value.size()) + " is too long",
                   "up to " + std::to_string(kMostDestinations));
        }
        return value;
    }
    /// What stands here and was not asked for.
    void refuseOthers() const {
        for (const auto& [key, value] : value_.items()) {
            if (known_.count(key) != 0) continue;
            std::string names;
            for (const auto& name : known_) names += (names.empty() ? "" : ", ") + name;
            refuse(path_, shown(key) + " is no key of this kind of graph", "one of " + names);
        }
    }

private:
    const Json& needed(const char* key, const char* right) {
        known_.insert(key);
        if (!has(key)) refuse(path_, std::string("'") + key + "' is missing", std::string(right) + " under that key");
        return value_.at(key);
    }

    const Json& value_;
    const std::string path_;
    std::set<std::string> known_;
};

// What the URL's own error says, with the place in front.
template <class Parse>
void checkUrl(const std::string& path, const std::string& url, Parse&& parse) {
    try {
        parse(url);
    } catch (const UsageError& problem) {
        throw UsageError(path + ": " + problem.what());
    }
}

std::vector<std::string> destinations(Entry& entry) {
    std::vector<std::string> result;
    for (const auto& value : entry.list("to")) {
        const std::string path = entry.at("to") + "[" + std::to_string(result.size()) + "]";
        result.push_back(plainText(value, path, kMostUrl));
        checkUrl(path, result.back(), parseSendUrl);
    }
    return result;
}

std::string source(Entry& entry) {
    std::string url = entry.text("input", "a URL such as udp://@239.1.1.1:5000", kMostUrl);
    checkUrl(entry.at("input"), url, parseReceiveUrl);
    return url;
}

SendSettings sendSettings(Entry& entry) {
    SendSettings send;
    send.input = entry.text("input", "a file, a named pipe, or -");
    send.to = destinations(entry);
    send.offsetMs = entry.number("offset_ms", -kHour, kHour, send.offsetMs);
    send.pacing = entry.truth("pacing", send.pacing);
    send.loop = entry.truth("loop", send.loop);
    if (send.loop && send.input == "-") {
        refuse(entry.at("loop"), "standard input can't be read again", "false, or a file as input");
    }
    return send;
}

ReceiveSettings receiveSettings(Entry& entry) {
    ReceiveSettings receive;
    receive.input = source(entry);
    receive.out = entry.textOr("out", "");
    receive.timeoutMs = static_cast<std::int32_t>(entry.number("timeout_ms", 0, kMostTimeoutMs, receive.timeoutMs));
    return receive;
}

void checkNoCircle(const Entry& entry, const RelaySettings& relay) {
    for (std::size_t i = 0; i < relay.to.size(); ++i) {
        if (!comesBack(parseSendUrl(relay.to[i]), parseReceiveUrl(relay.input))) continue;
        refuse(entry.at("to") + "[" + std::to_string(i) + "]", "the relay would receive what it sends",
               "another address or port than in " + relay.input);
    }
}

RelaySettings relaySettings(Entry& entry) {
    RelaySettings relay;
    relay.input = source(entry);
    relay.to = destinations(entry);
    checkNoCircle(entry, relay);
    relay.privateStream = entry.truth("private", relay.privateStream);
    relay.offsetMs = entry.number("offset_ms", -kHour, 10'000, relay.offsetMs);
    relay.pacing = entry.truth("pacing", relay.pacing);
    relay.timeoutMs =
        static_cast<std::int32_t>(entry.number("timeout_ms", kLeastRelayTimeoutMs, kMostTimeoutMs, relay.timeoutMs));
    for (const char* key : {"offset_ms", "pacing"}) {
        if (!relay.privateStream || !entry.has(key)) continue;
        refuse(entry.at(key), "a private stream is never paced", std::string("no '") + key + "' beside 'private'");
    }
    return relay;
}

StreamState startOf(Entry& entry) {
    const std::string word = entry.textOr("start", nameOf(StreamState::Running));
    for (const auto state : {StreamState::Running, StreamState::Paused, StreamState::Stopped}) {
        if (word == nameOf(state)) return state;
    }
    refuse(entry.at("start"), shown(word) + " is no state", "running, paused or stopped");
}

std::string nameIn(Entry& entry) {
    std::string name = entry.text("name", "1 to 64 characters");
    if (characters(name) > kMostName) refuse(entry.at("name"), shown(name) + " is too long", "1 to 64 characters");
    return name;
}

void describe(nlohmann::ordered_json& entry, const SendSettings& send) {
    entry["input"] = send.input;
    entry["to"] = send.to;
    entry["offset_ms"] = send.offsetMs;
    entry["pacing"] = send.pacing;
    entry["loop"] = send.loop;
}

void describe(nlohmann::ordered_json& entry, const ReceiveSettings& receive) {
    entry["input"] = receive.input;
    if (!receive.out.empty()) entry["out"] = receive.out;
    entry["timeout_ms"] = receive.timeoutMs;
}

void describe(nlohmann::ordered_json& entry, const RelaySettings& relay) {
    entry["input"] = relay.input;
    entry["to"] = relay.to;
    entry["private"] = relay.privateStream;
    if (!relay.privateStream) entry["offset_ms"] = relay.offsetMs;
    if (!relay.privateStream) entry["pacing"] = relay.pacing;
    entry["timeout_ms"] = relay.timeoutMs;
}

// An editor finds the schema by its key.
void refuseOtherKeys(const Json& profile) {
    for (const auto& [key, value] : profile.items()) {
        if (key == "$schema") {
            plainText(value, key, kMostFileName);
        } else if (key != "graphs") {
            refuse("profile", shown(key) + " is no key of it", std::string(kForm) + ", and \"$schema\" beside it");
        }
    }
}

}  // namespace

StreamSettings parseStream(const Json& value, const std::string& path) {
    Entry entry(value, path);
    StreamSettings stream;
    stream.name = nameIn(entry);
    const std::string kind = entry.text("kind", kKinds);
    stream.start = startOf(entry);
    if (kind == nameOf(StreamKind::Send)) {
        stream.of = sendSettings(entry);
    } else if (kind == nameOf(StreamKind::Receive)) {
        stream.of = receiveSettings(entry);
    } else if (kind == nameOf(StreamKind::Relay)) {
        stream.of = relaySettings(entry);
    } else {
        refuse(entry.at("kind"), shown(kind) + " is no kind of graph", kKinds);
    }
    entry.refuseOthers();
    return stream;
}

std::vector<StreamSettings> parseProfile(const std::string& text) {
    if (text.size() > kMostText) refuse("profile", "it is longer than 1 MiB", kForm);
    const Json profile = parseJson(text, "profile", kForm);
    if (!profile.is_object() || !profile.contains("graphs") || !profile.at("graphs").is_array()) {
        refuse("profile", "it holds no list 'graphs'", kForm);
    }
    refuseOtherKeys(profile);
    const Json& graphs = profile.at("graphs");
    if (graphs.size() > StreamSet::kMost) {
        refuse("graphs", std::to_string(graphs.size()) + " graphs are too many",
               "up to " + std::to_string(StreamSet::kMost));
    }
    std::vector<StreamSettings> streams;
    for (const auto& entry : graphs) {
        const std::string path = "graphs[" + std::to_string(streams.size()) + "]";
        const StreamSettings stream = parseStream(entry, path);
        for (const auto& other : streams) checkApart(stream, other, path);
        streams.push_back(stream);
    }
    if (const auto circle = findCircle(streams)) {
        throw UsageError("graphs[" + std::to_string(circle->stream) + "].to: " + circle->reason);
    }
    return streams;
}

nlohmann::ordered_json profileJson(const std::vector<StreamSettings>& streams) {
    auto graphs = nlohmann::ordered_json::array();
    for (const auto& stream : streams) {
        nlohmann::ordered_json entry{{"name", stream.name}, {"kind", nameOf(stream.kind())}};
        std::visit([&entry](const auto& of) { describe(entry, of); }, stream.of);
        entry["start"] = nameOf(stream.start);
        graphs.push_back(std::move(entry));
    }
    return {{"graphs", std::move(graphs)}};
}

std::vector<StreamSettings> readProfile(const std::string& path) {
    try {
        const auto content = readWhole(path, "profile");
        return parseProfile({content.begin(), content.end()});
    } catch (const UsageError& problem) {
        throw UsageError(path + ": " + problem.what());
    } catch (const std::runtime_error& problem) {
        throw UsageError(problem.what());
    }
}

void writeProfile(const std::string& path, const std::vector<StreamSettings>& streams) {
    const std::string text = profileJson(streams).dump(2) + '\n';
    parseProfile(text);
    const auto file = platform::FileStream::create(path);
    demand(file->Write(text.data(), static_cast<std::uint32_t>(text.size()), nullptr), "can't write " + path);
    file->commit();
}

}  // namespace mcgate::host
