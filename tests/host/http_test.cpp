#include "http/http_server.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "cli/url.h"
#include "support/http_client.h"

namespace {

using namespace mcgate::host;
using Clock = std::chrono::steady_clock;

/// A server of one page, on a port that the system chose.
class Served {
public:
    explicit Served(const HttpLimits& limits) {
        ListenAddress address = parseListenAddress("127.0.0.1:1");
        address.address.setPort(0);
        server_ = std::make_unique<HttpServer>(address, limits);
        server_->routes().Get("/page", [](const httplib::Request&, httplib::Response& response) {
            response.set_content("here", "text/plain");
        });
        server_->routes().Post("/echo", [](const httplib::Request& request, httplib::Response& response) {
            response.set_content(request.body, "text/plain");
        });
        server_->start();
    }
    test::HttpClient client() const { return test::HttpClient(server_->address().address.port()); }
    std::string answer(const std::string& request) const {
        return test::ask(server_->address().address.port(), request);
    }
    HttpServer& server() { return *server_; }
    void end() { server_.reset(); }

private:
    std::unique_ptr<HttpServer> server_;
};

bool begins(const std::string& text, const std::string& with) { return text.rfind(with, 0) == 0; }

TEST(HttpServer, AnswersWhatIsRightAndWithinItsLimits) {
    HttpLimits limits;
    limits.body = 5000;
    Served served(limits);
    const std::string page =
        served.answer("GET /page HTTP/1.1\r\nHost: x\r\nAccept-Encoding: br\r\nRange: bytes=0-1\r\n\r\n");
    EXPECT_TRUE(begins(page, "HTTP/1.1 200") && page.ends_with("\r\n\r\nhere")) << page;
    const auto post = [](std::size_t size) {
        return "POST /echo HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" +
               std::string(size, 'x');
    };
    EXPECT_TRUE(served.answer(post(5000)).ends_with("\r\n\r\n" + std::string(5000, 'x')));
    EXPECT_TRUE(begins(served.answer(post(5001)), "HTTP/1.1 413"));
    EXPECT_TRUE(begins(served.answer(post(1 << 20)), "HTTP/1.1 413")) << "a reset took the answer along";
    EXPECT_THROW(HttpServer(served.server().address(), limits), std::runtime_error) << "the port is taken";
}

TEST(HttpServer, TellsWhyARequestCanNotBeRead) {
    HttpLimits hasty;
    hasty.request = std::chrono::milliseconds(200);
    hasty.body = 10;
    const Served served({});
    const Served servedInHaste(hasty);
    const auto expect = [&](const std::string& request, int status, const std::string& reason) {
        const std::string answer = (status == 408 ? servedInHaste : served).answer(request);
        EXPECT_EQ(test::statusOf(answer), status) << answer;
        EXPECT_NE(answer.find(reason), std::string::npos) << answer;
    };
    const auto headOf = [](std::size_t size) {
        std::string head = "GET /page HTTP/1.1\r\n";
        while (head.size() + 16 < size) head += "A: b\r\n";
        return head + "B: " + std::string(size - head.size() - 7, 'b') + "\r\n\r\n";
    };
    expect(headOf(16'384), 200, "here");
    expect(headOf(16'385), 431, "head of the request is over 16384 bytes");
    expect(headOf(1 << 20), 431, "head of the request is over 16384 bytes");
    expect("GET /page HTTP/1.1\r\nA: " + std::string(9000, 'b') + "\r\n\r\n", 431, "header field is over 8192");
    expect("GET /" + std::string(9000, 'x') + " HTTP/1.1\r\n\r\n", 414, "request line is over 8192");
    expect("GET /" + std::string(20'000, 'x'), 414, "request line is over 8192");
    expect("nonsense\r\n\r\n", 400, "such as 'GET / HTTP/1.1'");
    expect("GET /page HTTP/1.1\r\nHos", 408, "too slowly");
    expect("POST /echo HTTP/1.1\r\nContent-Length: 9\r\n\r\n1", 408, "too slowly");
    test::HttpClient cut = served.client();
    cut.say("GET /page HTTP/1.1\r\nHos");
    cut.finish();
    EXPECT_NE(cut.hear().find("the request broke off"), std::string::npos);
}

TEST(HttpServer, ClientsThatSayNothingDelayOthersAndTheEndByLittle) {
    const auto timeOfEnd = [] {
        Served served({});
        std::vector<test::HttpClient> slow;
        for (int i = 0; i < 4; ++i) slow.emplace_back(served.client()).say("GET /pa");
        EXPECT_TRUE(begins(served.answer("GET /page HTTP/1.1\r\nHost: x\r\n\r\n"), "HTTP/1.1 200"));
        for (int i = 0; i < 4; ++i) slow.emplace_back(served.client()).say("GET /pa");
        const auto asked = Clock::now();
        served.end();
        return Clock::now() - asked;
    };
    auto least = timeOfEnd();
    for (int i = 0; i < 4 && least >= std::chrono::seconds(1); ++i) least = std::min(least, timeOfEnd());
    EXPECT_LT(least, std::chrono::seconds(1)) << "an end that waits for clients takes two";
}

TEST(ListenAddress, IsAnAddressWithAPortOrAPortAlone) {
    EXPECT_EQ(parseListenAddress("9100").text(), "127.0.0.1:9100");
    EXPECT_EQ(parseListenAddress("0.0.0.0:80").text(), "0.0.0.0:80");
    EXPECT_EQ(parseListenAddress("[::1]:9100").text(), "[::1]:9100");
    EXPECT_TRUE(parseListenAddress("[::1]:9100").isLoopback());
    EXPECT_FALSE(parseListenAddress("0.0.0.0:80").isLoopback());
    for (const char* wrong : {"", ":9100", "localhost:9100", "::1:9100", "[127.0.0.1]:9100", "[]:1", "127.0.0.1",
                              "127.0.0.1:", "127.0.0.1:0", "65536", "239.1.1.1:9100", "9100 "}) {
        EXPECT_THROW(parseListenAddress(wrong), UsageError) << wrong;
    }
}

}  // namespace
