// What clients that mean harm get from the console, and that the streams it runs never notice.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "demo/child.h"
#include "support/http_client.h"
#include "support/private_network.h"

namespace {

using namespace test;
using Json = nlohmann::json;
using mcgate::host::Child;

constexpr std::uint16_t kPort = 8080;
constexpr std::chrono::seconds kPatience{30};
const std::string kHost = "Host: 127.0.0.1:8080\r\n";
const std::string kOrigin = "Origin: http://127.0.0.1:8080\r\n";
const std::string kJson = "Content-Type: application/json\r\n";

/// Asks until that is so; false when the patience is over.
template <class Condition>
bool eventually(Condition condition) {
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

std::string bodyOf(const std::string& answer) {
    const auto head = answer.find("\r\n\r\n");
    return head == std::string::npos ? "" : answer.substr(head + 4);
}

std::string get(const std::string& path) { return ask(kPort, "GET " + path + " HTTP/1.1\r\n" + kHost + "\r\n"); }

/// One console for all stories, with a stream that is sent and received, and a directory of its own.
class Running {
public:
    explicit Running(const std::vector<std::string>& options) {
        std::vector<std::string> command{MCGATE_COMMAND, "console"};
        command.insert(command.end(), options.begin(), options.end());
        child = std::make_unique<Child>(command, [this](const std::string& line) {
            const std::lock_guard hold(lock);
            said += line + '\n';
            arrived.notify_all();
        });
    }
    bool waitFor(const std::string& text) {
        std::unique_lock hold(lock);
        return arrived.wait_for(hold, kPatience, [&] { return said.find(text) != std::string::npos; });
    }
    std::unique_ptr<Child> child;
    std::mutex lock;
    std::condition_variable arrived;
    std::string said;
};

class HostileClient : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!inPrivateNetwork()) return;
        directory = std::filesystem::temp_directory_path() / ("mcgate-hostile-" + std::to_string(getpid()));
        std::filesystem::create_directory(directory);
        setenv("MCGATE_REGISTRY", (directory / "registry").c_str(), 1);
        const std::string input = directory / "input.ts";
        ASSERT_EQ(Child({MCGATE_COMMAND, "generate", "--rate", "1000000", "--duration", "600", "--out", input},
                        [](const std::string&) {})
                      .wait(),
                  0);
        const Json profile{{"graphs",
                            {{{"name", "out"}, {"kind", "send"}, {"input", input}, {"to", {"udp://127.0.0.1:5000"}}},
                             {{"name", "in"}, {"kind", "receive"}, {"input", "udp://@127.0.0.1:5000"}}}}};
        std::ofstream(directory / "profile.json") << profile;
        console = std::make_unique<Running>(
            std::vector<std::string>{directory / "profile.json", "--files", directory.string()});
        ASSERT_TRUE(console->waitFor("the console is at http://127.0.0.1:8080/")) << console->said;
        const std::string page = bodyOf(get("/"));
        const std::string before = "name=\"mcgate-token\" content=\"";
        token = page.substr(page.find(before) + before.size(), 64);
        ASSERT_TRUE(eventually([] { return stream(1)["data"] == true; }));
    }
    static void TearDownTestSuite() {
        if (!console) return;
        // Whoever is still there holds up no end.
        std::vector<HttpClient> rest;
        for (int i = 0; i < 4; ++i) rest.emplace_back(kPort).say("GET /api/events HTTP/1.1\r\n" + kHost + "\r\n");
        for (int i = 0; i < 60; ++i) rest.emplace_back(kPort).say("G");
        // One that waits for a writer, and its request with it.
        ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);
        const Json waiting{
            {"name", "pipe"}, {"kind", "send"}, {"input", "pipe"}, {"to", {"udp://127.0.0.1:7"}}, {"start", "running"}};
        rest.emplace_back(kPort).say(requestOf("POST", "/api/graphs", waiting.dump()));
        EXPECT_TRUE(eventually([] { return graphs().size() == 3; }));
        const auto asked = std::chrono::steady_clock::now();
        console->child->signal(SIGHUP);
        EXPECT_EQ(console->child->wait(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(10)) << console->said;
        console.reset();
        std::filesystem::remove_all(directory);
    }
    void SetUp() override {
        if (!console) GTEST_SKIP() << "needs a private network";
        before = stream(1);
    }
    // What was sent meanwhile came, all of it.
    void TearDown() override {
        if (!console) return;
        const Json after = stream(1);
        ASSERT_TRUE(after.is_object());
        EXPECT_EQ(after["state"], "running");
        EXPECT_EQ(after["values"]["continuity_errors"], 0);
        EXPECT_EQ(after["values"]["kernel_drops"], 0);
        EXPECT_GE(after["values"]["uptime_s"], before["values"]["uptime_s"]) << "it was started anew";
        EXPECT_TRUE(eventually([&] { return stream(1)["datagrams"] > before["datagrams"]; }));
    }

    static Json graphs() {
        std::string answer;
        EXPECT_TRUE(eventually([&] { return statusOf(answer = get("/api/graphs")) != 429; }));
        return Json::parse(bodyOf(answer), nullptr, false)["graphs"];
    }
    static Json stream(std::size_t index) { return graphs()[index]; }
    static std::string requestOf(const std::string& method, const std::string& path, const std::string& body,
                                 const std::string& type = kJson) {
        return method + " " + path + " HTTP/1.1\r\n" + kHost + kOrigin + "X-Mcgate-Token: " + token + "\r\n" + type +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    static std::string change(const std::string& method, const std::string& path, const std::string& body,
                              const std::string& type = kJson) {
        std::string answer;
        const std::string request = requestOf(method, path, body, type);
        EXPECT_TRUE(eventually([&] { return statusOf(answer = ask(kPort, request)) != 429; }));
        return answer;
    }

    static std::filesystem::path directory;
    static std::unique_ptr<Running> console;
    static std::string token;
    Json before;
};

std::filesystem::path HostileClient::directory;
std::unique_ptr<Running> HostileClient::console;
std::string HostileClient::token;

TEST_F(HostileClient, IsRefusedByTheHeadOfARequestAlone) {
    const std::string mine = "X-Mcgate-Token: " + token + "\r\n";
    const std::string post = "POST /api/graphs/2/stop HTTP/1.1\r\n";
    const std::string body = "Content-Length: 2\r\n\r\n{}";
    const std::vector<std::pair<std::string, int>> requests{
        {"GET / HTTP/1.1\r\nHost: evil.example:8080\r\n\r\n", 421},
        {"GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n", 421},
        {"GET / HTTP/1.1\r\nHost: 127.0.0.1:8080.evil.example\r\n\r\n", 421},
        {"GET / HTTP/1.1\r\n\r\n", 421},
        {"GET / HTTP/1.1\r\n" + kHost + kHost + "\r\n", 400},
        {"GET /api/graphs HTTP/1.1\r\n" + kHost + "Origin: http://evil.example\r\n\r\n", 403},
        {"GET /api/graphs HTTP/1.1\r\n" + kHost + "Sec-Fetch-Site: cross-site\r\n\r\n", 403},
        {post + kHost + "Origin: http://evil.example\r\n" + mine + kJson + body, 403},
        {post + kHost + "Origin: null\r\n" + mine + kJson + body, 403},
        {post + kHost + mine + kJson + body, 403},
        {post + kHost + kOrigin + kJson + body, 403},
        {post + kHost + kOrigin + "X-Mcgate-Token: " + std::string(64, '0') + "\r\n" + kJson + body, 403},
        {post + kHost + kOrigin + mine + "Content-Type: text/plain\r\n" + body, 415},
        {post + kHost + kOrigin + mine + kJson + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n", 411},
        {post + kHost + kOrigin + mine + kJson + "\r\n", 411},
        {post + kHost + kOrigin + mine + kJson + "Content-Length: 2x\r\n\r\n{}", 400},
        {post + kHost + kOrigin + mine + kJson + "Content-Length: 99999999999999999999\r\n\r\n{}", 413},
        {"DELETE /api/graphs/2 HTTP/1.1\r\n" + kHost + "Content-Length: 0\r\n\r\n", 405},
        {"GET /" + std::string(300, 'a') + " HTTP/1.1\r\n" + kHost + "\r\n", 414},
        {"GET /assets/../profile.json HTTP/1.1\r\n" + kHost + "\r\n", 404},
        {"GET /api/graphs/99999999999/history HTTP/1.1\r\n" + kHost + "\r\n", 404},
        {"\x16\x03\x01\r\n\r\n", 400},
        {"GET / HTTP/1.1\r\n" + kHost + "A: " + std::string(20'000, 'b') + "\r\n\r\n", 431},
    };
    for (const auto& [request, status] : requests) {
        const std::string answer = ask(kPort, request);
        EXPECT_EQ(statusOf(answer), status) << request << "\n" << answer;
        EXPECT_TRUE(Json::parse(bodyOf(answer), nullptr, false).contains("error")) << answer;
        EXPECT_EQ(answer.find("refused with status"), std::string::npos) << "no reason is told: " << answer;
        EXPECT_NE(answer.find("default-src 'none'"), std::string::npos) << answer;
    }
}

TEST_F(HostileClient, IsToldWhatANumberOfALogLineWouldBe) {
    const auto linesAfter = [](const std::string& query) {
        return Json::parse(bodyOf(get("/api/log" + query)))["lines"].size();
    };
    EXPECT_GT(linesAfter(""), 0U);
    EXPECT_EQ(linesAfter("?after=0"), linesAfter(""));
    EXPECT_EQ(linesAfter("?after=18446744073709551615"), 0U);
    for (const std::string wrong : {"", "abc", "-1", "1x", "100000000000000000000000"}) {
        const std::string answer = get("/api/log?after=" + wrong);
        EXPECT_EQ(statusOf(answer), 422) << answer;
        EXPECT_NE(answer.find("'" + wrong + "'"), std::string::npos) << answer;
    }
}

TEST_F(HostileClient, IsRefusedForASizeOrADepthAndNotReadOn) {
    const std::string large(2 << 20, ' ');
    EXPECT_EQ(statusOf(change("POST", "/api/graphs", large)), 413);
    EXPECT_EQ(statusOf(change("POST", "/api/graphs", std::string(1 << 20, '['))), 422);
    EXPECT_EQ(statusOf(change("POST", "/api/graphs", R"({"name":")" + std::string(500'000, '\xC3'))), 422);
    EXPECT_EQ(statusOf(change("PUT", "/api/graphs/1/stream/sender", large.substr(0, 1 << 20),
                              "Content-Type: application/octet-stream\r\n")),
              422);
}

TEST_F(HostileClient, TakesNoPlaceFromABrowserForLong) {
    const auto served = [](const HttpClient&) { return statusOf(get("/")) == 200; };
    std::vector<HttpClient> idle;
    for (int i = 0; i < 200; ++i) {
        idle.emplace_back(kPort);
        if (i % 2 == 0) idle.back().say("GET / HTTP/1.1\r\nHo");
    }
    EXPECT_TRUE(served(idle.back()));
    // Many more than there are threads delay others by little: each gets its turn within two seconds.
    for (int i = 0; i < 300; ++i) idle.emplace_back(kPort).say("G");
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_TRUE(served(idle.back()));
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(15));
    while (idle.size() > 200) idle.pop_back();
    // A byte now and then keeps no connection either.
    EXPECT_TRUE(eventually([&] {
        bool all = true;
        for (std::size_t i = 0; i < idle.size(); i += 2) all = !idle[i].say("s") && all;
        return all;
    }));
    EXPECT_TRUE(served(idle.back()));
}

TEST_F(HostileClient, HoldsUpNobodyByRequestsThatWaitForAStream) {
    ASSERT_EQ(mkfifo((directory / "late").c_str(), 0600), 0);
    const Json entry{{"name", "late"}, {"kind", "send"}, {"input", "late"}, {"to", {"udp://127.0.0.1:7"}}};
    const std::string path =
        "/api/graphs/" + Json::parse(bodyOf(change("POST", "/api/graphs", entry.dump())))["id"].dump();
    std::vector<HttpClient> runs;
    for (int i = 0; i < 40; ++i) runs.emplace_back(kPort).say(requestOf("POST", path + "/run", "{}"));
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(statusOf(get("/")), 200);
    EXPECT_EQ(statusOf(change("POST", path + "/remove", "{}")), 503) << "nobody writes into the pipe";
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(4));
    for (auto& one : runs) EXPECT_EQ(statusOf(one.hear()), 200);
    EXPECT_EQ(statusOf(change("POST", path + "/remove", "{}")), 200) << "who has waited leaves a place";
}

TEST_F(HostileClient, MayHaveSixteenEventStreamsAndNoMore) {
    std::vector<HttpClient> streams;
    int opened = 0;
    int refused = 0;
    for (int i = 0; i < 200; ++i) {
        streams.emplace_back(kPort).say("GET /api/events HTTP/1.1\r\n" + kHost + "\r\n");
        const int status = statusOf(streams.back().hearSome());
        (status == 200 ? opened : refused) += status == 200 || status == 503 ? 1 : 0;
        if (status == 503) streams.pop_back();
    }
    EXPECT_EQ(opened, 16);
    EXPECT_EQ(refused, 184);
    EXPECT_EQ(statusOf(get("/")), 200);
    streams.clear();
    EXPECT_TRUE(eventually([] {
        HttpClient again(kPort);
        again.say("GET /api/events HTTP/1.1\r\n" + kHost + "\r\n");
        return statusOf(again.hearSome()) == 200;
    })) << "a closed stream leaves its place";
}

TEST_F(HostileClient, MayAskOnlySoOften) {
    int status = 200;
    for (int i = 0; i < 100 && status == 200; ++i) {
        std::vector<HttpClient> many;  // one after the other might be slower than what is allowed
        for (int j = 0; j < 50; ++j) {
            many.emplace_back(kPort).say("GET /api/log?after=1000000000 HTTP/1.1\r\n" + kHost + "\r\n");
        }
        for (auto& one : many) {
            if (statusOf(one.hear()) == 429) status = 429;
        }
    }
    EXPECT_EQ(status, 429);
    EXPECT_TRUE(eventually([] { return statusOf(get("/api/log")) == 200; }));
}

/// A few bytes of a text are changed, doubled or gone.
std::string mutated(std::string text, std::mt19937& random) {
    for (int left = 1 + static_cast<int>(random() % 4); left > 0 && !text.empty(); --left) {
        const std::size_t at = random() % text.size();
        switch (random() % 4) {
            case 0:
                text[at] = static_cast<char>(random());
                break;
            case 1:
                text.erase(at, 1 + random() % 8);
                break;
            case 2:
                text.insert(at, text.substr(random() % text.size(), random() % 16));
                break;
            default:
                text[at] = "{}[]\",:0-9e"[random() % 11];
                break;
        }
    }
    return text;
}

TEST_F(HostileClient, LeavesNothingBehindWithRandomEntriesAndPersistedStreams) {
    std::mt19937 random(20'261);
    const std::vector<std::string> entries{
        R"({"name":"a","kind":"send","input":"input.ts","to":["udp://127.0.0.1:6000"],"offset_ms":10,"loop":true})",
        R"({"name":"b","kind":"receive","input":"udp://10.0.0.1@232.1.1.1:6000?local=127.0.0.1","timeout_ms":500})",
        R"({"name":"c","kind":"relay","input":"udp://@127.0.0.1:6001","to":["udp://127.0.0.1:6002"],"pacing":false})"};
    for (int i = 0; i < 120; ++i) {
        const std::string entry = mutated(entries[static_cast<std::size_t>(i) % 3], random);
        const std::string answer = change("POST", "/api/graphs", entry);
        const int status = statusOf(answer);
        EXPECT_TRUE(status == 201 || status == 422) << entry << "\n" << answer;
        if (status != 201) continue;
        const auto id = Json::parse(bodyOf(answer))["id"].get<int>();
        EXPECT_EQ(statusOf(change("POST", "/api/graphs/" + std::to_string(id) + "/remove", "{}")), 200);
    }
    EXPECT_EQ(graphs().size(), 2U);
    for (const auto* const path : {"/api/graphs/1/stream/sender", "/api/graphs/2/stream/receiver"}) {
        const std::string saved = bodyOf(get(path));
        for (int i = 0; i < 40; ++i) {
            const std::string answer =
                change("PUT", path, mutated(saved, random), "Content-Type: application/octet-stream\r\n");
            EXPECT_TRUE(statusOf(answer) == 200 || statusOf(answer) == 422) << answer;
        }
        EXPECT_EQ(statusOf(change("PUT", path, saved, "Content-Type: application/octet-stream\r\n")), 200);
        EXPECT_EQ(bodyOf(get(path)), saved);
    }
}

// What a running relay receives could then no longer be told from what it will receive, nor compared with what it
// sends.
TEST_F(HostileClient, GivesARelaysReceiverNoSettingsWhileItRunsAndLeadsNoRelaysInACircle) {
    const Json entry{{"name", "r"}, {"kind", "relay"}, {"input", "udp://@:6100"}, {"to", {"udp://127.0.0.1:6101"}}};
    const std::string added = change("POST", "/api/graphs", entry.dump());
    ASSERT_EQ(statusOf(added), 201) << added;
    const std::string path = "/api/graphs/" + Json::parse(bodyOf(added))["id"].dump();
    const std::string saved = bodyOf(get(path + "/stream/receiver"));
    const auto put = [&] {
        return statusOf(change("PUT", path + "/stream/receiver", saved, "Content-Type: application/octet-stream\r\n"));
    };
    EXPECT_EQ(statusOf(change("POST", path + "/run", "{}")), 200);
    EXPECT_EQ(put(), 409);
    EXPECT_EQ(statusOf(change("POST", path + "/stop", "{}")), 200);
    EXPECT_EQ(put(), 200);
    Json back = entry;
    back["name"] = "back";
    back["input"] = "udp://@127.0.0.1:6101";
    back["to"] = {"udp://127.0.0.1:6100"};
    const std::string circle = change("POST", "/api/graphs", back.dump());
    EXPECT_EQ(statusOf(circle), 422) << "which would send it round for ever";
    EXPECT_NE(bodyOf(circle).find("'back' would receive what it sends, by way of 'r'"), std::string::npos) << circle;
    EXPECT_EQ(statusOf(change("POST", path + "/remove", "{}")), 200);
}

TEST_F(HostileClient, ReachesNoFileThatIsNotTheConsolesToGive) {
    std::filesystem::create_symlink("/etc", directory / "out");
    std::filesystem::create_symlink(directory.string() + "-beside", directory / "dangling");
    const auto add = [](const std::string& kind, const std::string& key, const std::string& file) {
        Json entry{{"name", "f"}, {"kind", kind}, {key, file}, {kind == "send" ? "to" : "input", "udp://@:6000"}};
        if (kind == "send") entry["to"] = {"udp://127.0.0.1:6000"};
        entry["start"] = "stopped";
        return change("POST", "/api/graphs", entry.dump());
    };
    const std::string outside = directory.string() + "-beside";
    for (const char* file : {"/etc/passwd", "../x", outside.c_str(), "out/x", "dangling", "a/../../x", ".profile",
                             "a/.b/x", "-", ".", "profile.json"}) {
        EXPECT_EQ(statusOf(add("receive", "out", file)), 422) << file;
        EXPECT_EQ(statusOf(add("send", "input", file)), 422) << file;
    }
    EXPECT_EQ(statusOf(add("receive", "out", "input.ts")), 422) << "what is there is not written over";
    for (const auto& [kind, key, file] : {std::tuple("send", "input", "input.ts"), {"receive", "out", "a/new.ts"}}) {
        const std::string answer = add(kind, key, file);
        ASSERT_EQ(statusOf(answer), 201) << answer;
        const Json graph = Json::parse(bodyOf(answer));
        EXPECT_EQ(kind == std::string("send") ? graph["input"] : graph["output"][0], (directory / file).string());
        const std::string path = "/api/graphs/" + graph["id"].dump();
        if (kind == std::string("receive")) {  // somebody else takes its place meanwhile
            std::filesystem::create_directory(directory / "a");
            std::ofstream(directory / file) << "of somebody else";
            change("POST", path + "/run", "{}");
            EXPECT_EQ(std::filesystem::file_size(directory / file), 16U);
        }
        EXPECT_EQ(statusOf(change("POST", path + "/remove", "{}")), 200);
    }
    EXPECT_FALSE(std::filesystem::exists(outside));
}

TEST_F(HostileClient, NeedsTheAccessTokenWhereOthersReachTheConsole) {
    const std::string file = directory / "token";
    const auto statusWith = [](const std::vector<std::string>& options) { return Running(options).child->wait(); };
    std::ofstream(file) << "a-token-of-this-test\n";
    std::filesystem::permissions(file, std::filesystem::perms(0644));
    EXPECT_EQ(statusWith({"--listen", "0.0.0.0:8081"}), 2);
    EXPECT_EQ(statusWith({"--listen", "0.0.0.0:8081", "--token-file", file}), 2) << "every user may read it";
    std::filesystem::permissions(file, std::filesystem::perms(0600));
    EXPECT_EQ(statusWith({"--listen", "127.0.0.1:8080"}), 1) << "the port is taken";

    Running open({"--listen", "0.0.0.0:8081", "--token-file", file});
    ASSERT_TRUE(open.waitFor("the console is at")) << open.said;
    const std::string head = "Host: 127.0.0.2:8081\r\nOrigin: http://127.0.0.2:8081\r\n";
    const std::string page = ask(8081, "GET / HTTP/1.1\r\n" + head + "\r\n");
    const auto place = page.find("content=\"", page.find("mcgate-token")) + 9;
    const auto login = [&](const std::string& body) {
        return ask(8081, "POST /login HTTP/1.1\r\n" + head + "X-Mcgate-Token: " + page.substr(place, 64) + "\r\n" +
                             kJson + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    };
    const auto list = [&](const std::string& cookie) {
        return statusOf(ask(8081, "GET /api/graphs HTTP/1.1\r\n" + head + "Cookie: a=b; " + cookie + "\r\n\r\n"));
    };
    const std::string right = login(R"({"token":"a-token-of-this-test"})");
    const auto begin = right.find("mcgate_access_8081=");
    ASSERT_NE(begin, std::string::npos) << right;
    EXPECT_EQ(list(right.substr(begin, right.find(';', begin) - begin)), 200);
    EXPECT_EQ(list("mcgate_access_8081=a-token-of-this-test"), 401);
    EXPECT_EQ(list("c=d"), 401);
    const auto bring = [&](const std::string& path, const std::string& secret, const std::string& host = "127.0.0.2") {
        return statusOf(ask(8081, "GET " + path + " HTTP/1.1\r\nHost: " + host + ":8081\r\nAuthorization: Bearer " +
                                      secret + "\r\n\r\n"));
    };
    for (int i = 0; i < 20; ++i) EXPECT_EQ(bring("/metrics", "a-token-of-this-test"), 200) << "a monitor asks on";
    EXPECT_EQ(bring("/api/graphs", "a-token-of-this-test"), 401) << "which may see nothing else";
    EXPECT_EQ(bring("/metrics", "a-token-of-this-test", "evil.example"), 421);
    EXPECT_EQ(bring("/metrics", "a-token-of-that-test"), 401);
    EXPECT_EQ(statusOf(ask(8081, "GET / HTTP/1.1\r\nHost: evil.example:8081\r\n\r\n")), 421);
    int status = 401;
    for (int i = 0; i < 100 && status == 401; ++i) status = statusOf(login(R"({"token":"a-token-of-that-test"})"));
    EXPECT_EQ(status, 429) << "tokens can't be tried out";
    status = 401;
    for (int i = 0; i < 100 && status == 401; ++i) status = bring("/metrics", "a-token-of-that-test");
    EXPECT_EQ(status, 429) << "nor there";
}

}  // namespace
