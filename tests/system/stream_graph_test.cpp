// Stream graphs of one process on the loopback interface: what a stop, a pause and another run leave of a stream.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "filters/stopped_early.h"
#include "interfaces/i_sender_config.h"
#include "interfaces/i_source_config.h"
#include "streams/stream_graph.h"
#include "support/failure_of.h"
#include "support/notes.h"
#include "support/plain_sockets.h"
#include "support/private_network.h"
#include "support/registered_module.h"
#include "support/temporary_file.h"
#include "support/transport_stream.h"

namespace {

using namespace std::chrono_literals;
using namespace mcgate::host;

constexpr const char* kGroup = "udp://239.1.1.1:5000?local=127.0.0.1";

std::unique_ptr<StreamGraph> make(const StreamSettings& settings) {
    return makeStreamGraph(
        settings, [](const Notice&) {}, [] { return false; });
}

std::unique_ptr<StreamGraph> sender(const std::string& input, const std::string& to = kGroup) {
    SendSettings send;
    send.input = input;
    send.to = {to};
    return make({"sender", StreamState::Running, send});
}

std::unique_ptr<StreamGraph> receiver(const std::string& out = "") {
    return make({"receiver", StreamState::Running, ReceiveSettings{"udp://@239.1.1.1:5000?local=127.0.0.1", out}});
}

/// Heeds what the graph tells until the condition holds.
bool heedUntil(StreamGraph& graph, const std::function<bool()>& condition) {
    return test::eventually([&] {
        if (!condition()) graph.heed(10ms);
        return condition();
    });
}

std::vector<std::uint8_t> streamOf(double seconds) { return test::generated(seconds, 1'000'000); }

struct StreamGraphs : testing::Test {
    void SetUp() override {
        if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
        test::RegisteredModule::once();
    }
};

TEST_F(StreamGraphs, ASecondRunReadsFromTheBeginningAndWritesOnBehindTheFirst) {
    const auto stream = streamOf(2);
    const test::TemporaryFile in(stream);
    const std::vector<std::uint8_t> older{1, 2, 3, 4};
    const test::TemporaryFile out(older);
    const auto from = sender(in.path());
    const auto to = receiver(out.path());
    std::vector<std::uint64_t> sent;
    for (int pass = 0; pass < 2; ++pass) {
        to->run();
        from->run();
        ASSERT_TRUE(heedUntil(*from, [&] { return from->heed(1ms); }));
        from->stop();
        EXPECT_EQ(from->failure(), "");
        sent.push_back(from->values().datagrams.value_or(0));
        EXPECT_TRUE(heedUntil(*to, [&] { return to->datagrams() == sent.back(); })) << to->datagrams();
        to->stop();
        EXPECT_EQ(to->values().continuityErrors, 0U);
    }
    EXPECT_EQ(sent.front(), sent.back());
    auto content = out.content();
    ASSERT_GE(content.size(), 2 * stream.size() + older.size());
    EXPECT_TRUE(std::equal(older.begin(), older.end(), content.begin())) << "what was there before the first run stays";
    content.erase(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(older.size()));
    EXPECT_TRUE(std::equal(stream.begin(), stream.end(), content.begin()));
    const auto half = static_cast<std::ptrdiff_t>(content.size() / 2);
    EXPECT_TRUE(std::equal(stream.begin(), stream.end(), content.begin() + half));
}

TEST_F(StreamGraphs, AStopInTheFirstSecondSendsNothing) {
    const test::TemporaryFile in(streamOf(5));
    std::atomic<bool> stop{false};
    const auto from = makeStreamGraph(
        {"sender", StreamState::Running, SendSettings{in.path(), {kGroup}}}, [](const Notice&) {},
        [&stop] { return stop.load(); });
    std::thread later([&stop] {
        std::this_thread::sleep_for(300ms);
        stop = true;
    });
    EXPECT_THROW(from->run(), StoppedEarly);
    later.join();
    EXPECT_EQ(from->state(), StreamState::Stopped);
    EXPECT_EQ(from->datagrams(), 0U);
}

TEST_F(StreamGraphs, APauseLosesNothingOfAFile) {
    const test::TemporaryFile in(streamOf(30));
    const auto from = sender(in.path());
    const auto to = receiver();
    to->run();
    from->run();
    ASSERT_TRUE(heedUntil(*from, [&] { return to->datagrams() >= 100; }));
    from->pause();
    EXPECT_EQ(from->state(), StreamState::Paused);
    const auto until = std::chrono::steady_clock::now() + 3s;  // more than the source's lead
    heedUntil(*from, [&] { return std::chrono::steady_clock::now() >= until; });
    const std::uint64_t before = to->datagrams();
    from->run();
    ASSERT_TRUE(heedUntil(*from, [&] { return to->datagrams() >= before + 200; }));
    ASSERT_TRUE(from->values().spacing);
    EXPECT_LT(from->values().spacing->medianMs, 10);
    from->stop();
    to->stop();
    EXPECT_EQ(from->values().droppedSamples, 0U);
    EXPECT_EQ(to->values().continuityErrors, 0U);
}

TEST_F(StreamGraphs, ADestinationThatTheSystemHasNoWayToIsTold) {
    const std::vector<std::string> to{"udp://127.0.0.1:5000", "udp://10.1.1.1:5000",
                                      "udp://127.0.0.1:5001?local=10.99.1.1"};
    const test::TemporaryFile in(streamOf(30));
    test::Notes<std::string> told;
    const auto heard = [&](const std::string& text) {
        const auto all = told.all();
        return std::count(all.begin(), all.end(), text);
    };
    const auto from = makeStreamGraph(
        {"sender", StreamState::Running, SendSettings{in.path(), to}},
        [&](const Notice& notice) { told.add(notice.text); }, [] { return false; });
    from->run();
    ASSERT_TRUE(heedUntil(*from, [&] { return from->datagrams() > 0; }));
    const auto faults = [&] {
        std::vector<std::string> result;
        for (const auto& one : from->values().destinations) result.push_back(one.fault);
        return result;
    };
    const std::string leftOut = "10.99.1.1 is no address of this host; it is left out of this run";
    EXPECT_EQ(faults(), (std::vector<std::string>{"", "the system has no way to 10.1.1.1", leftOut}));
    test::ip("route add 10.1.1.1 dev lo\naddr add 10.99.1.1/32 dev lo");
    EXPECT_EQ(from->sender().query<ISenderConfig>()->SetDestination(3, u"10.2.2.2", 5000, u"0.0.0.0"), S_OK);
    EXPECT_EQ(faults(), (std::vector<std::string>{"", "", leftOut})) << "what a page adds is of the next run";
    from->stop();
    EXPECT_EQ(heard(to[1] + ": the system has no way to 10.1.1.1; what is sent there is lost"), 1);
    EXPECT_EQ(heard(to[1] + ": there is a way again"), 1);
    EXPECT_EQ(heard(to[2] + ": " + leftOut), 1);
    from->run();
    EXPECT_EQ(faults(), (std::vector<std::string>{"", "", "", "the system has no way to 10.2.2.2"}));
    from->stop();
    test::ip("route del 10.1.1.1 dev lo\naddr del 10.99.1.1/32 dev lo");
}

TEST_F(StreamGraphs, ARelayThatAPageTurnsBackOnItselfBreaksOff) {
    RelaySettings settings;
    settings.input = "udp://@127.0.0.1:5002";
    settings.to = {"udp://127.0.0.1:5003"};
    const auto relay = make({"relay", StreamState::Running, settings});
    const auto source = relay->receiver().query<ISourceConfig>();
    const auto listenOn = [&](std::int32_t port) { return source->SetSource(port, u"127.0.0.1", u"0.0.0.0", u""); };
    relay->run();
    EXPECT_FALSE(relay->heed(10ms));
    ASSERT_EQ(listenOn(5003), S_OK);
    ASSERT_TRUE(heedUntil(*relay, [&] { return relay->values().dataPresent || relay->heed(0ms); }));
    ASSERT_EQ(listenOn(5002), S_OK);  // which doesn't hide why it broke off
    relay->stop();
    const std::string reason = settings.to[0] + ": the relay would receive what it sends; right would be another " +
                               "address or port than in udp://@127.0.0.1:5003";
    EXPECT_EQ(relay->failure(), reason);
    ASSERT_EQ(listenOn(5003), S_OK);
    EXPECT_EQ(test::failureOf<std::runtime_error>([&] { relay->run(); }), reason);
    ASSERT_EQ(listenOn(5002), S_OK);
    relay->run();
    EXPECT_FALSE(relay->heed(10ms));
    relay->stop();
    EXPECT_EQ(relay->failure(), "");
    const auto destination = relay->sender().query<ISenderConfig>();
    for (const char16_t* own : {u"127.1", u"0.0.0.0"}) {  // no URL, but the kernel knows it
        ASSERT_EQ(destination->SetDestination(0, own, 5002, u"0.0.0.0"), S_OK);
        EXPECT_NE(test::failureOf<std::runtime_error>([&] { relay->run(); }).find("would receive what it sends"),
                  std::string::npos);
    }
}

TEST_F(StreamGraphs, AReceiverThatGetsNoPlaceSaysWhichItIs) {
    const auto refused = [](const std::string& url) {
        const auto to = make({"receiver", StreamState::Running, ReceiveSettings{url, ""}});
        return test::failureOf<std::runtime_error>([&] { to->run(); });
    };
    const test::PlainSocket other(AF_INET);
    ASSERT_TRUE(other.bind({"127.0.0.1", 5004}, false));
    EXPECT_EQ(refused("udp://@127.0.0.1:5004"),
              "can't receive udp://@127.0.0.1:5004: its port is taken, or a group can't be joined; right would "
              "be what mcgate check 'udp://@127.0.0.1:5004' tells");
    EXPECT_EQ(refused("udp://@10.99.9.9:5004"),
              "can't receive udp://@10.99.9.9:5004: 10.99.9.9 is no address of this host; right would be one that "
              "'mcgate interfaces' lists");
}

TEST_F(StreamGraphs, APipeIsNotReadTwice) {
    const std::string path = testing::TempDir() + "mcgate-pipe-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int pipe = open(path.c_str(), O_RDWR | O_CLOEXEC);
    unlink(path.c_str());
    const std::string input = "/proc/self/fd/" + std::to_string(pipe);
    ASSERT_GT(fcntl(pipe, F_SETPIPE_SZ, 1 << 20), 0);
    const auto stream = streamOf(3);
    ASSERT_EQ(write(pipe, stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
    const auto from = sender(input);
    from->run();
    from->stop();
    EXPECT_EQ(test::failureOf<std::runtime_error>([&] { from->run(); }),
              input + " can't be read again; right would be a file");
    EXPECT_EQ(from->state(), StreamState::Stopped);
    close(pipe);
}

TEST_F(StreamGraphs, SettingsTellWhatAPageMadeOfTheAddresses) {
    const auto from = sender("in.ts", "udp://10.0.0.2:5000");
    const auto to = receiver();
    EXPECT_EQ(std::get<SendSettings>(from->settings().of).to, std::vector<std::string>{"udp://10.0.0.2:5000"});
    EXPECT_EQ(std::get<ReceiveSettings>(to->settings().of).input, "udp://@239.1.1.1:5000?local=127.0.0.1");
    const auto destinations = from->sender().query<ISenderConfig>();
    EXPECT_EQ(destinations->SetDestination(1, u"ff15::1", 5001, u"::1"), S_OK);
    const std::vector<std::string> both{"udp://10.0.0.2:5000", "udp://[ff15::1]:5001?local=[::1]"};
    EXPECT_EQ(std::get<SendSettings>(from->settings().of).to, both);
    EXPECT_EQ(destinations->SetDestination(1, u"nowhere", 5001, u"::1"), S_OK);
    EXPECT_EQ(std::get<SendSettings>(from->settings().of).to, std::vector<std::string>{"udp://10.0.0.2:5000"});
    const auto source = to->receiver().query<ISourceConfig>();
    ASSERT_EQ(source->SetTimeout(700), S_OK);
    EXPECT_EQ(std::get<ReceiveSettings>(to->settings().of).timeoutMs, 700);
    const std::tuple<const WCHAR*, const WCHAR*, const WCHAR*, std::string> table[] = {
        {u"0.0.0.0", u"0.0.0.0", u"", "udp://@0.0.0.0:5002"},
        {u"127.0.0.1", u"232.1.1.1", u"10.0.0.1", "udp://10.0.0.1@232.1.1.1:5002?local=127.0.0.1"},
        {u"::1", u"::", u"", "udp://@[::1]:5002"},
        {u"127.0.0.1", u"239.1.1.1", u"", "udp://@239.1.1.1:5002?local=127.0.0.1"}};
    for (const auto& [local, group, only, url] : table) {
        ASSERT_EQ(source->SetSource(5002, local, group, only), S_OK);
        EXPECT_EQ(std::get<ReceiveSettings>(to->settings().of).input, url);
    }
}

}  // namespace
