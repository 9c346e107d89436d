#include <gtest/gtest.h>
#include <httplib.h>

#include <cmath>

#include "console/access.h"
#include "console/event_hub.h"
#include "console/history.h"
#include "console/rate_limit.h"
#include "console/refusal.h"

namespace {

using namespace mcgate::host;

int statusWith(const Access& access, const std::string& host) {
    httplib::Request request;
    request.method = "GET";
    request.path = "/";
    request.headers = {{"Host", host}};
    try {
        access.check(request);
        return 200;
    } catch (const Refusal& refusal) {
        return refusal.status();
    }
}

TEST(Access, KnowsTheNamesOfItsOwnAddressAndNoOthers) {
    const Access loopback(parseListenAddress("[::1]:8080"), "");
    for (const char* own : {"127.0.0.1:8080", "LocalHost:8080", "[::1]:8080"})
        EXPECT_EQ(statusWith(loopback, own), 200);
    for (const char* other : {"", "localhost", "localhost:80", "10.0.0.1:8080", "localhost.example:8080", "[::1]"}) {
        EXPECT_EQ(statusWith(loopback, other), 421) << other;
    }
    const Access every(parseListenAddress("0.0.0.0:80"), "some token that is long");
    for (const char* own : {"10.0.0.1", "10.0.0.1:80", "localhost", "[fd00::1]:80"})
        EXPECT_EQ(statusWith(every, own), 200);
    for (const char* other : {"a.example", "10.0.0.1:8080", ":80", "10.0.0.1.example:80", "[]:80"}) {
        EXPECT_EQ(statusWith(every, other), 421) << other;
    }
}

TEST(EventHub, EndsAReaderThatFallsBehindAndHasRoomForAnother) {
    EventHub hub;
    hub.add("log", "before");
    auto reader = hub.open();
    hub.add("log", "one");
    const auto events = reader->next(std::chrono::seconds(10));
    ASSERT_TRUE(events && events->size() == 1);
    EXPECT_EQ(*events->front(), "event: log\ndata: one\n\n");
    for (int i = 0; i < 2000; ++i) hub.add("log", "many");
    EXPECT_FALSE(reader->next(std::chrono::seconds(10)));
    std::vector<std::shared_ptr<EventHub::Reader>> others(EventHub::kMostStreams - 1);
    for (auto& other : others) other = hub.open();
    EXPECT_THROW(hub.open(), Refusal);
    reader.reset();
    EXPECT_NO_THROW(reader = hub.open());
    hub.close();
    EXPECT_FALSE(reader->next(std::chrono::seconds(10)));
}

TEST(RateLimit, LetsEachClientHaveItsBurstAndThenItsRate) {
    RateLimit limit(10, 3);
    const RateLimit::Clock::time_point start{};
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(limit.take("a", start));
    EXPECT_FALSE(limit.take("a", start));
    EXPECT_TRUE(limit.take("b", start));
    EXPECT_TRUE(limit.take("a", start + std::chrono::milliseconds(101)));
    EXPECT_FALSE(limit.take("a", start + std::chrono::milliseconds(102)));
    // As many clients as there are buckets for, and the same again once the first need none.
    for (int i = 0; i < 2000; ++i) limit.take(std::to_string(i), start);
    EXPECT_FALSE(limit.take("late", start));
    EXPECT_TRUE(limit.take("late", start + std::chrono::seconds(1)));
}

/// A stream's state in a turn, with this many datagrams since its run.
StreamSnapshot running(std::uint64_t turn, std::uint64_t datagrams) {
    StreamSnapshot snapshot;
    snapshot.state = StreamState::Running;
    snapshot.turn = turn;
    snapshot.values.datagrams = datagrams;
    return snapshot;
}

TEST(History, TellsWhatCameInEachSecondAndNothingWhereNobodyKnows) {
    History history;
    const auto last = [&](std::int64_t second, std::size_t count) {
        std::string text;
        const auto row = history.series(second)["datagrams"];
        for (std::size_t i = row.size() - count; i < row.size(); ++i) text += row[i].dump() + " ";
        return text;
    };
    history.look(100, running(1, 50));
    history.look(101, running(2, 150));
    history.look(102, running(2, 150));  // a look that came early
    history.look(103, running(4, 350));
    EXPECT_EQ(last(103, 5), "null null 100.0 100.0 100.0 ");
    history.look(105, running(5, 20));  // run anew
    EXPECT_EQ(last(105, 2), "null 20.0 ");
    for (int second = 106; second < 110; ++second) history.look(second, running(5, 20));
    EXPECT_EQ(last(109, 4), "20.0 20.0 null null ") << "its thread is busy";
    StreamSnapshot stopped;
    stopped.turn = 6;
    history.look(110, stopped);
    history.look(111, running(7, 70));
    EXPECT_EQ(last(112, 3), "null null null ");
    history.look(1000, running(8, 70));
    EXPECT_EQ(last(1000, 600).find_first_of("123456789"), std::string::npos) << "older than ten minutes";
    EXPECT_EQ(history.series(1000)["data"].back(), 0.0);
}

}  // namespace
