#include "streams/profile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/url.h"

namespace {

using Json = nlohmann::json;
using mcgate::host::parseProfile;
using mcgate::host::profileJson;
using mcgate::host::UsageError;

std::string graph(const std::string& members) { return R"({"graphs": [{)" + members + "}]}"; }

std::string refusalOf(const std::string& text) {
    try {
        parseProfile(text);
        return "taken";
    } catch (const UsageError& problem) {
        return problem.what();
    }
}

TEST(Profile, WhatIsWrittenIsReadAsTheSame) {
    const auto streams = parseProfile(R"({"graphs": [
        {"name": "a", "kind": "send", "input": "a.ts", "to": ["udp://239.1.1.1:5000?local=10.0.0.1", "udp://[fd00::2]:9"],
         "offset_ms": -5, "pacing": false, "loop": true, "start": "paused"},
        {"name": "b", "kind": "receive", "input": "udp://@239.1.1.1:5000", "out": "b.ts", "timeout_ms": 0},
        {"name": "c", "kind": "receive", "input": "udp://@:5000", "start": "stopped"},
        {"name": "d", "kind": "relay", "input": "udp://@:5001", "to": ["udp://10.0.0.2:1"], "offset_ms": 10000},
        {"name": "e", "kind": "relay", "input": "udp://@:5002", "to": ["udp://10.0.0.2:2"], "private": true}]})");
    ASSERT_EQ(streams.size(), 5U);
    EXPECT_EQ(parseProfile(profileJson(streams).dump()), streams);
}

TEST(Profile, ARefusalNamesPlaceValueAndWhatWouldBeRight) {
    const std::string send = R"("name": "a", "kind": "send", "input": "a.ts", "to": ["udp://10.0.0.2:5000"])";
    const std::string relay = R"("name": "a", "kind": "relay", "input": "udp://@:1", "to": ["udp://10.0.0.2:5000"])";
    const struct {
        std::string text;
        std::string begin;
        std::string right;
    } table[] = {
        {"{", "profile: it is no JSON: parse error", R"({"graphs": [...]})"},
        {graph(R"("name": )" + std::string(500'000, '[')), "profile: it is nested more", R"({"graphs": [...]})"},
        {graph(R"("name": )" + std::string(300'000, '[') + std::string(300'000, ']')), "profile: it is nested more",
         R"({"graphs": [...]})"},
        {"[]", "profile: it holds no list 'graphs'", R"({"graphs": [...]})"},
        {R"({"graphs": [], "b": 1})", "profile: it holds more keys", R"({"graphs": [...]})"},
        {R"({"graphs": [7]})", "graphs[0]: 7 is no object", "...}"},
        {graph(R"("kind": "send")"), "graphs[0]: 'name' is missing", "a text under that key"},
        {graph(R"("name": "a\u0007", "kind": "send")"), R"(graphs[0].name: "a\u0007" is no text)", "a text"},
        {graph(R"("name": "a", "kind": "sent")"), "graphs[0].kind: \"sent\" is no kind", "send, receive or relay"},
        {graph(send + R"(, "timeout_ms": 1)"), "graphs[0]: \"timeout_ms\" is no key", "start, to"},
        {graph(send + R"(, "offset_ms": 3600001)"), "graphs[0].offset_ms: 3600001 is", "-3600000 to 3600000"},
        {graph(send + R"(, "offset_ms": 18446744073709551615)"), "graphs[0].offset_ms: 18446744073709551615 is",
         "-3600000 to 3600000"},
        {graph(send + R"(, "offset_ms": 1.5)"), "graphs[0].offset_ms: 1.5 is", "-3600000 to 3600000"},
        {graph(send + R"(, "pacing": "no")"), R"(graphs[0].pacing: "no" is neither)", "true or false"},
        {graph(send + R"(, "start": "on")"), "graphs[0].start: \"on\" is no state", "running, paused or stopped"},
        {graph(relay + R"(, "timeout_ms": 999)"), "graphs[0].timeout_ms: 999 is", "1000 to 3600000"},
        {graph(relay + R"(, "private": true, "pacing": true)"), "graphs[0].pacing: a private", "beside 'private'"},
        {graph(R"("name": "a", "kind": "send", "input": "a.ts", "to": [])"), "graphs[0].to: [] is no list", "5000\"]"},
        {graph(R"("name": "a", "kind": "send", "input": "a.ts", "to": ["udp://x:1"])"), "graphs[0].to[0]: 'udp://x:1'",
         "udp://239.1.1.1:5000"},
        {graph(R"("name": "a", "kind": "send", "input": "-", "to": ["udp://10.0.0.2:5000"], "loop": true)"),
         "graphs[0].loop: standard input", "a file as input"},
        {R"({"graphs": [{)" + send + "}, {" + send + "}]}", "graphs[1].name: 'a' stands twice", "another name"},
        {R"({"graphs": [{"name": "a", "kind": "receive", "input": "udp://@:1", "out": "x"},
                        {"name": "b", "kind": "receive", "input": "udp://@:2", "out": "./x"}]})",
         "graphs[1].out: './x' is taken by 'a'", "another file"},
        {graph(R"("name": "a", "kind": "send", "input": ")" + std::string(4097, 'a') + R"(", "to": [])"),
         R"(graphs[0].input: "aaa)", "up to 4096 bytes"},
        {std::string(1048577, ' '), "profile: it is longer than 1 MiB", R"({"graphs": [...]})"},
    };
    for (const auto& row : table) {
        const std::string refusal = refusalOf(row.text);
        EXPECT_TRUE(refusal.starts_with(row.begin)) << refusal;
        EXPECT_TRUE(refusal.ends_with(row.right)) << refusal;
        EXPECT_NE(refusal.find("; right would be "), std::string::npos) << refusal;
    }
}

/// An entry with what its kind demands, and one key more.
Json entryWith(const std::string& kind, const std::string& key, const Json& value) {
    Json entry{{"name", "a"}, {"kind", kind}, {"input", kind == "send" ? "a.ts" : "udp://@:1"}};
    if (kind != "receive") entry["to"] = {"udp://10.0.0.2:5000"};
    entry[key] = value;
    return entry;
}

bool isTaken(const Json& entry) { return refusalOf(Json{{"graphs", {entry}}}.dump()) == "taken"; }

TEST(Profile, TheSchemaHasTheProgramsKeysRangesAndDefaults) {
    std::ifstream file(MCGATE_PROFILE_SCHEMA);
    const Json kinds = Json::parse(file).at("$defs");
    for (const std::string kind : {"send", "receive", "relay"}) {
        Json whole =
            profileJson(parseProfile(Json{{"graphs", {entryWith(kind, "start", "running")}}}.dump()))["graphs"][0];
        if (kind == "receive") whole["out"] = "a.ts";
        const Json& keys = kinds.at(kind).at("properties");
        EXPECT_EQ(whole.size(), keys.size()) << kind << ": " << whole;
        for (const auto& [key, rule] : keys.items()) {
            ASSERT_TRUE(whole.contains(key)) << kind << "." << key;
            if (!rule.is_object()) continue;
            EXPECT_EQ(rule.value("default", whole[key]), whole[key]) << kind << "." << key;
            if (!rule.contains("minimum")) continue;
            const std::int64_t least = rule["minimum"];
            const std::int64_t most = rule["maximum"];
            EXPECT_TRUE(isTaken(entryWith(kind, key, least)) && isTaken(entryWith(kind, key, most)))
                << kind << "." << key;
            EXPECT_FALSE(isTaken(entryWith(kind, key, least - 1))) << kind << "." << key;
            EXPECT_FALSE(isTaken(entryWith(kind, key, most + 1))) << kind << "." << key;
        }
    }
}

}  // namespace
