// `mcgate run` as a service: its streams through a reload, and what it tells its manager.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "demo/child.h"
#include "support/plain_sockets.h"

namespace {

using Json = nlohmann::json;
using mcgate::host::Child;

constexpr std::chrono::seconds kPatience{30};

/// A service manager's socket, of an abstract name, that is read as messages come.
class Manager {
public:
    Manager() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name_.copy(address.sun_path + 1, name_.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name_.size());
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
        setenv("NOTIFY_SOCKET", ("@" + name_).c_str(), 1);
        setenv("WATCHDOG_USEC", "400000", 1);
    }
    ~Manager() {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
    }
    /// The next message that begins so, behind the one that was asked for last; "none" when the patience is over.
    std::string next(const std::string& begin) {
        std::string found = "none";
        messages_.waitFor([&](const std::vector<std::string>& all) {
            for (; found == "none" && asked_ < all.size(); ++asked_) {
                if (all[asked_].starts_with(begin)) found = all[asked_];
            }
            return found != "none";
        });
        return found;
    }

private:
    const std::string name_ = "mcgate-run-test-" + std::to_string(getpid());
    const test::PlainSocket socket_{AF_UNIX};
    std::size_t asked_ = 0;
    test::Notes<std::string> messages_;
    const test::Reader reader_{socket_.get(), [this](const std::uint8_t* bytes, std::size_t size) {
                                   messages_.add({bytes, bytes + size});
                               }};
};

/// What the command wrote: the last object of each stream, and all lines.
struct Written {
    std::mutex lock;
    std::condition_variable arrived;
    std::map<std::string, Json> last;
    std::string all;

    void take(const std::string& line) {
        const Json object = Json::parse(line, nullptr, false);
        const std::lock_guard hold(lock);
        all += line + '\n';
        if (object.is_object() && object.contains("time_s")) last[object["stream"]] = object;
        arrived.notify_all();
    }
    bool waitFor(const std::function<bool()>& condition) {
        std::unique_lock hold(lock);
        return arrived.wait_for(hold, kPatience, condition);
    }
    bool waitForLine(const std::string& part) {
        return waitFor([&] { return all.find(part) != std::string::npos; });
    }
    /// Until a stream's field has at least this value.
    bool waitForValue(const std::string& stream, const std::string& field, double least) {
        return waitFor([&] {
            const auto found = last.find(stream);
            return found != last.end() && found->second[field].is_number() && found->second[field] >= least;
        });
    }
    Json of(const std::string& stream) {
        const std::lock_guard hold(lock);
        return last[stream];
    }
};

struct Run : testing::Test {
    void SetUp() override {
        if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
        std::filesystem::create_directories(directory);
        std::filesystem::current_path(directory);
    }
    void TearDown() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(directory);
    }
    static void generate(const std::string& name, int seconds) {
        const std::string line = std::string("'" MCGATE_COMMAND "' generate --rate 1000000 --out ") + name +
                                 " --duration " + std::to_string(seconds);
        ASSERT_EQ(std::system(line.c_str()), 0);
    }
    static Json sending(const std::string& name, const std::string& input, const std::string& group) {
        return {
            {"name", name}, {"kind", "send"}, {"input", input}, {"to", {"udp://" + group + ":5000?local=127.0.0.1"}}};
    }
    static Json receiving(const std::string& name) {
        return {{"name", name}, {"kind", "receive"}, {"input", "udp://@239.1.1.1:5000?local=127.0.0.1"}};
    }
    static void write(const Json& graphs) { std::ofstream("profile.json") << Json{{"graphs", graphs}}; }

    const std::string directory = testing::TempDir() + "mcgate-run-" + std::to_string(getpid());
    const std::vector<std::string> command{MCGATE_COMMAND, "run", "profile.json", "--report", "json"};
    Written written;
};

TEST_F(Run, AReloadLeavesUnchangedStreamsAloneAndABrokenProfileAll) {
    Manager manager;
    generate("in.ts", 120);
    const Json kept{sending("sender", "in.ts", "239.1.1.1"), receiving("kept")};
    Json graphs = kept;
    graphs.push_back(receiving("removed"));
    write(graphs);
    Child child(command, [this](const std::string& line) { written.take(line); });
    EXPECT_EQ(manager.next("READY"), "READY=1");
    ASSERT_TRUE(written.waitForValue("kept", "datagrams", 100)) << written.all;
    EXPECT_EQ(manager.next("STATUS=3"), "STATUS=3 of 3 streams running");
    EXPECT_EQ(manager.next("WATCHDOG"), "WATCHDOG=1");

    graphs = kept;
    graphs.push_back(receiving("added"));
    graphs.push_back(sending("late", "late.ts", "239.1.1.2"));
    graphs.back()["to"].push_back("udp://239.1.1.3:5000?local=10.9.9.9");
    write(graphs);
    child.signal(SIGHUP);
    EXPECT_TRUE(manager.next("RELOADING").starts_with("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_EQ(manager.next("READY"), "READY=1");
    ASSERT_TRUE(written.waitForValue("added", "datagrams", 100)) << written.all;
    EXPECT_TRUE(manager.next("STATUS=3 of 4 streams running; late: can't open late.ts") != "none");
    generate("late.ts", 60);
    ASSERT_TRUE(written.waitForValue("late", "datagrams", 1)) << "the one that could not start was not tried again";
    EXPECT_EQ(manager.next("STATUS=4 of 4 streams running; 1"), "STATUS=4 of 4 streams running; 1 destination lost");
    EXPECT_EQ(written.of("late")["error"],
              "udp://239.1.1.3:5000?local=10.9.9.9: 10.9.9.9 is no address of this host; it is left out of this run");

    std::ofstream("profile.json") << R"({"graphs": [{"name": 7}]})";
    child.signal(SIGHUP);
    ASSERT_TRUE(written.waitForLine("all streams go on as before: profile.json: graphs[0].name: 7 is no text"));
    EXPECT_EQ(manager.next("READY"), "READY=1");
    EXPECT_TRUE(manager.next("STATUS=").starts_with(
        "STATUS=4 of 4 streams running; the reload was refused: profile.json: graphs[0].name: 7 is no text"));
    const double seconds = written.of("kept")["time_s"];
    ASSERT_TRUE(written.waitForValue("kept", "time_s", seconds + 1));
    EXPECT_GT(written.of("kept")["time_s"].get<double>(), written.of("added")["time_s"].get<double>())
        << "it was begun anew";

    child.stop();
    EXPECT_EQ(manager.next("STOPPING"), "STOPPING=1");
    EXPECT_EQ(child.wait(), 0);
    for (const char* stream : {"kept", "added"}) {
        const Json last = written.of(stream);
        EXPECT_EQ(last["final"], true);
        EXPECT_EQ(last["continuity_errors"], 0);
        EXPECT_EQ(last["kernel_drops"], 0);
    }
    EXPECT_FALSE(written.of("removed").contains("final"));
}

TEST_F(Run, AProfileWithAFaultIsRefusedAtTheStart) {
    write({receiving("one"), receiving("one")});
    Child child(command, [this](const std::string& line) { written.take(line); });
    EXPECT_EQ(child.wait(), 2);
    EXPECT_EQ(written.all, "mcgate: profile.json: graphs[1].name: 'one' stands twice; right would be another name\n");
}

}  // namespace
