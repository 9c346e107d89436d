#include "http/http_server.h"

#include <gtest/gtest.h>
#include <httplib.h>

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
    EXPECT_TRUE(begins(served.answer("nonsense\r\n\r\n"), "HTTP/1.1 400"));
    std::string fields = "GET /page HTTP/1.1\r\n";
    while (fields.size() < 20'000) fields += "A: b\r\n";
    EXPECT_FALSE(begins(served.answer(fields + "\r\n"), "HTTP/1.1 200"));
    EXPECT_THROW(HttpServer(served.server().address(), limits), std::runtime_error) << "the port is taken";
}

TEST(HttpServer, ClientsThatSayNothingDelayOthersAndTheEndByLittle) {
    Served served({});
    std::vector<test::HttpClient> slow;
    for (int i = 0; i < 4; ++i) slow.emplace_back(served.client()).say("GET /pa");
    EXPECT_TRUE(begins(served.answer("GET /page HTTP/1.1\r\nHost: x\r\n\r\n"), "HTTP/1.1 200"));
    for (int i = 0; i < 4; ++i) slow.emplace_back(served.client()).say("GET /pa");
    const auto asked = Clock::now();
    served.end();
    EXPECT_LT(Clock::now() - asked, std::chrono::seconds(1)) << "an end that waits for clients takes two";
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
