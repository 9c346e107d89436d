#include <gtest/gtest.h>
#include <httplib.h>

#include <algorithm>

#include "console/access.h"
#include "console/event_hub.h"
#include "console/history.h"
#include "console/log_book.h"
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

TEST(EventHub, EndsAReaderThatFallsBehindAndHasRoomForAnotherAndForOtherClients) {
    EventHub hub;
    hub.add("log", "before");
    auto reader = hub.open("a");
    hub.add("log", "one");
    const auto events = reader->next(std::chrono::seconds(10));
    ASSERT_TRUE(events && events->size() == 1);
    EXPECT_EQ(*events->front(), "event: log\ndata: one\n\n");
    for (int i = 0; i < 2000; ++i) hub.add("log", "many");
    EXPECT_FALSE(reader->next(std::chrono::seconds(10)));
    std::vector<std::shared_ptr<EventHub::Reader>> others(EventHub::kMostOfAClient - 1);
    for (auto& other : others) other = hub.open("a");
    EXPECT_THROW(hub.open("a"), Refusal);
    while (others.size() < EventHub::kMostStreams - 1) others.push_back(hub.open("b"));
    EXPECT_THROW(hub.open("c"), Refusal);
    reader.reset();
    EXPECT_NO_THROW(reader = hub.open("a"));
    hub.close();
    EXPECT_FALSE(reader->next(std::chrono::seconds(10)));
}

TEST(LogBook, KeepsWarningsBesideAnyNumberOfOtherLines) {
    EventHub hub;
    LogBook book(hub);
    const auto add = [&](std::uint32_t level, int count) {
        Notice notice;
        notice.level = level;
        for (int i = 0; i < count; ++i) book.add("a", notice);
    };
    const auto numbers = [&](std::uint64_t after) {
        std::vector<int> found;
        const auto answer = book.since(after);
        for (const auto& line : answer["lines"]) found.push_back(line["seq"]);
        return found;
    };
    add(2, 1);
    add(1, 1);
    add(2, 1500);
    add(0, 1);
    add(2, 1);
    EXPECT_EQ(numbers(1501), (std::vector{1502, 1503, 1504}));
    const auto all = numbers(0);
    ASSERT_EQ(all.size(), 1002U);
    EXPECT_EQ(all[0], 2) << "the warning";
    EXPECT_EQ(all[1], 504);
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
    EXPECT_TRUE(numbers(1504).empty());
    add(1, 1500);
    EXPECT_EQ(numbers(0).size(), 2000U);
}

TEST(RateLimit, LetsEachClientHaveItsBurstAndThenItsRate) {
    RateLimit limit(10, 3);
    const RateLimit::Clock::time_point start{};
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(limit.take("a", start));
    EXPECT_FALSE(limit.take("a", start));
    EXPECT_TRUE(limit.take("b", start));
    EXPECT_TRUE(limit.take("a", start + std::chrono::milliseconds(101)));
    EXPECT_FALSE(limit.take("a", start + std::chrono::milliseconds(102)));
    // However many come, nobody is locked out, and who was heard of lately gains nothing by it.
    for (int i = 0; i < 2000; ++i) EXPECT_TRUE(limit.take(std::to_string(i), start + std::chrono::milliseconds(1)));
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(limit.take("1999", start + std::chrono::milliseconds(2)));
    EXPECT_FALSE(limit.take("1999", start + std::chrono::milliseconds(3)));
    EXPECT_EQ(clientOf("127.0.0.1"), clientOf("127.9.9.9"));
    EXPECT_EQ(clientOf("2001:db8::1"), clientOf("2001:db8::ffff:1"));
    EXPECT_NE(clientOf("2001:db8::1"), clientOf("2001:db8:0:1::1"));
    EXPECT_NE(clientOf("10.0.0.1"), clientOf("10.0.0.2"));
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
    for (const std::uint64_t turn : {9U, 10U}) {
        StreamSnapshot spaced = running(turn, 90);
        spaced.values.spacing.emplace().lastP99Ms = 3;
        history.look(992 + static_cast<std::int64_t>(turn), spaced);
    }
    const auto spacing = history.series(1002)["spacing_error_ms"];
    EXPECT_EQ(spacing[598].dump() + " " + spacing[599].dump(), "3.0 null") << "nothing came in the last second";
}

}  // namespace
