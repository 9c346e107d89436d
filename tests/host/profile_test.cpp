#include "streams/profile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "cli/url.h"
#include "support/failure_of.h"

namespace {

using Json = nlohmann::json;
using namespace mcgate::host;

std::string graph(const std::string& members) { return R"({"graphs": [{)" + members + "}]}"; }

// Empty for what is taken.
std::string refusalOf(const std::string& text) {
    return test::failureOf<UsageError>([&] { parseProfile(text); });
}

constexpr const char* kOfEachKind = R"({"$schema": "profile.schema.json", "graphs": [
        {"name": "a", "kind": "send", "input": "a.ts", "to": ["udp://239.1.1.1:5000?local=10.0.0.1", "udp://[fd00::2]:9"],
         "offset_ms": -5, "pacing": false, "loop": true, "start": "paused"},
        {"name": "b", "kind": "receive", "input": "udp://@239.1.1.1:5000", "out": "b.ts", "timeout_ms": 0},
        {"name": "c", "kind": "receive", "input": "udp://@127.0.0.1:5000", "start": "stopped"},
        {"name": "c2", "kind": "receive", "input": "udp://@127.0.0.2:5000"},
        {"name": "c3", "kind": "receive", "input": "udp://@239.1.1.1:5000"},
        {"name": "c6", "kind": "receive", "input": "udp://@[::]:5000"},
        {"name": "d", "kind": "relay", "input": "udp://@:5001", "to": ["udp://10.0.0.2:1"], "offset_ms": 10000},
        {"name": "e", "kind": "relay", "input": "udp://@:5002", "to": ["udp://10.0.0.2:2"], "private": true}]})";

TEST(Profile, WhatIsWrittenIsReadAsTheSame) {
    const auto streams = parseProfile(kOfEachKind);
    ASSERT_EQ(streams.size(), 8U);
    EXPECT_EQ(parseProfile(profileJson(streams).dump()), streams);
}

TEST(Profile, ARefusalNamesPlaceValueAndWhatWouldBeRight) {
    const std::string send = R"("name": "a", "kind": "send", "input": "a.ts", "to": ["udp://10.0.0.2:5000"])";
    const std::string relay = R"("name": "a", "kind": "relay", "input": "udp://@:1", "to": ["udp://10.0.0.2:5000"])";
    const std::tuple<std::string, std::string, std::string> table[] = {
        {"{", "profile: it is no JSON: parse error", R"({"graphs": [...]})"},
        {graph(R"("name": )" + std::string(500'000, '[')), "profile: it is nested more", R"({"graphs": [...]})"},
        {graph(R"("name": )" + std::string(300'000, '[') + std::string(300'000, ']')), "profile: it is nested more",
         R"({"graphs": [...]})"},
        {"[]", "profile: it holds no list 'graphs'", R"({"graphs": [...]})"},
        {R"({"graphs": [], "b": 1})", "profile: \"b\" is no key", "\"$schema\" beside it"},
        {R"({"graphs": [], "$schema": 1})", "$schema: 1 is no text", "a text"},
        {R"({"graphs": [], "graphs": []})", "profile: \"graphs\" stands twice", "one of the two"},
        {R"({"graphs": [{"to": ["a", {}]}, {"to": [[], "a"], "name": "a", "name": "b"}]})",
         "profile: \"graphs[1].name\" stands twice", "one of the two"},
        {R"({"graphs": [7]})", "graphs[0]: 7 is no object", "...}"},
        {graph(R"("name": "a")"), "graphs[0]: 'kind' is missing", "send, receive or relay under that key"},
        {graph(R"("name": "a\u0007", "kind": "send")"), R"(graphs[0].name: "a\u0007" is no text)", "a text"},
        {graph(R"("name": "a", "kind": "sent")"), "graphs[0].kind: \"sent\" is no kind", "send, receive or relay"},
        {graph(
             R"("name": "a", "kind": "relay", "input": "udp://@127.0.0.1:1", "to": ["udp://10.0.0.2:1", "udp://127.0.0.1:1"])"),
         "graphs[0].to[1]: the relay would receive what it sends", "than in udp://@127.0.0.1:1"},
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
        {R"({"graphs": [{"name": "a", "kind": "receive", "input": "udp://@[::1]:1"},
                        {"name": "b", "kind": "relay", "input": "udp://@[::]:1", "to": ["udp://127.0.0.1:9"]}]})",
         "graphs[1].input: 'udp://@[::]:1' is taken by 'a'", "which both receive"},
        {R"({"graphs": [{"name": "a", "kind": "relay", "input": "udp://@127.0.0.1:1", "to": ["udp://127.0.0.1:9"]},
                        {"name": "b", "kind": "relay", "input": "udp://@127.0.0.1:2", "to": ["udp://127.0.0.1:3"]},
                        {"name": "c", "kind": "relay", "input": "udp://@:3", "to": ["udp://127.0.0.1:9", "udp://127.0.0.1:4"]},
                        {"name": "d", "kind": "relay", "input": "udp://@:4", "to": ["udp://127.0.0.1:2"]}]})",
         "graphs[1].to: 'b' would receive what it sends, by way of 'c' and 'd'", "addresses or ports in one of them"},
        {graph(R"("name": "a", "kind": "send", "input": ")" + std::string(4097, 'a') + R"(", "to": [])"),
         R"(graphs[0].input: "aaa)", "up to 4096 bytes"},
        {std::string(1048577, ' '), "profile: it is longer than 1 MiB", R"({"graphs": [...]})"},
    };
    for (const auto& [text, begin, right] : table) {
        const std::string refusal = refusalOf(text);
        EXPECT_TRUE(refusal.starts_with(begin)) << refusal;
        EXPECT_TRUE(refusal.ends_with(right)) << refusal;
        EXPECT_NE(refusal.find("; right would be "), std::string::npos) << refusal;
    }
}

// A byte is changed, mostly, or a span is left out, stands twice or stands elsewhere; now and then several of these.
std::string mutated(std::string text, std::mt19937& random) {
    const auto below = [&random](std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    };
    do {
        const std::size_t at = below(text.size());
        const std::string span = text.substr(at, below(below(8) > 0 ? 6 : 200) + 1);
        const std::size_t kind = below(8);
        if (kind < 5) text[at] = static_cast<char>(kind > 0 ? below(95) + 32 : below(256));
        if (kind == 5 || kind == 6) text.erase(at, span.size());
        if (kind > 5) text.insert(below(text.size() + 1), span);
    } while (below(4) == 0);
    return text;
}

TEST(Profile, AMutatedOneIsRefusedOrReadAsWhatItIsWrittenAs) {
    std::mt19937 random(1);
    int taken = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string text = mutated(kOfEachKind, random);
        std::vector<StreamSettings> streams;
        try {
            streams = parseProfile(text);
        } catch (const UsageError&) {
            continue;
        } catch (const std::exception& other) {
            FAIL() << other.what() << " of " << text;
        }
        ++taken;
        ASSERT_EQ(parseProfile(profileJson(streams).dump()), streams) << text;
    }
    EXPECT_GT(taken, 500) << "hardly any gets behind the first look";
}

/// An entry with what its kind demands, and one key more.
Json entryWith(const std::string& kind, const std::string& key, const Json& value) {
    Json entry{{"name", "a"}, {"kind", kind}, {"input", kind == "send" ? "a.ts" : "udp://@:1"}};
    if (kind != "receive") entry["to"] = {"udp://10.0.0.2:5000"};
    entry[key] = value;
    return entry;
}

bool isTaken(const Json& entry) { return refusalOf(Json{{"graphs", {entry}}}.dump()).empty(); }

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
