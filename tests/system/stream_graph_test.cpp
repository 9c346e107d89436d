// Stream graphs of one process on the loopback interface: what a stop, a pause and another run leave of a stream.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/i_sender_config.h"
#include "interfaces/i_source_config.h"
#include "streams/stream_graph.h"
#include "support/private_network.h"
#include "support/registered_module.h"
#include "support/temporary_file.h"
#include "ts/generator.h"

namespace {

using namespace std::chrono_literals;
using mcgate::host::makeStreamGraph;
using mcgate::host::Notice;
using mcgate::host::ReceiveSettings;
using mcgate::host::SendSettings;
using mcgate::host::StreamGraph;
using mcgate::host::StreamSettings;
using mcgate::host::StreamState;

constexpr auto kPatience = 20s;
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
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition() && std::chrono::steady_clock::now() < end) graph.heed(10ms);
    return condition();
}

std::vector<std::uint8_t> streamOf(double seconds) {
    std::vector<std::uint8_t> stream;
    mcgate::host::generateTransportStream({1'000'000, seconds, 1}, [&](const std::uint8_t* data, std::size_t size) {
        stream.insert(stream.end(), data, data + size);
    });
    return stream;
}

struct StreamGraphs : testing::Test {
    void SetUp() override {
        if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
        test::RegisteredModule::once();
    }
};

TEST_F(StreamGraphs, ASecondRunReadsFromTheBeginningAndWritesOnBehindTheFirst) {
    const auto stream = streamOf(2);
    const test::TemporaryFile in(stream);
    const test::TemporaryFile out;
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
    const auto content = out.content();
    ASSERT_GE(content.size(), 2 * stream.size());
    EXPECT_TRUE(std::equal(stream.begin(), stream.end(), content.begin()));
    const auto half = static_cast<std::ptrdiff_t>(content.size() / 2);
    EXPECT_TRUE(std::equal(stream.begin(), stream.end(), content.begin() + half));
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
    from->stop();
    to->stop();
    EXPECT_EQ(from->values().droppedSamples, 0U);
    EXPECT_EQ(to->values().continuityErrors, 0U);
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
    try {
        from->run();
        ADD_FAILURE() << "it ran";
    } catch (const std::runtime_error& problem) {
        EXPECT_EQ(problem.what(), input + " can't be read again; right would be a file");
    }
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
    const struct {
        const WCHAR* local;
        const WCHAR* group;
        const WCHAR* source;
        std::string url;
    } table[] = {{u"0.0.0.0", u"0.0.0.0", u"", "udp://@0.0.0.0:5002"},
                 {u"127.0.0.1", u"232.1.1.1", u"10.0.0.1", "udp://10.0.0.1@232.1.1.1:5002?local=127.0.0.1"},
                 {u"::1", u"::", u"", "udp://@[::1]:5002"},
                 {u"127.0.0.1", u"239.1.1.1", u"", "udp://@239.1.1.1:5002?local=127.0.0.1"}};
    for (const auto& row : table) {
        ASSERT_EQ(source->SetSource(5002, row.local, row.group, row.source), S_OK);
        EXPECT_EQ(std::get<ReceiveSettings>(to->settings().of).input, row.url);
    }
}

}  // namespace
