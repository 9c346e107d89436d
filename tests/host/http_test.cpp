#include "http/http_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "cli/url.h"

namespace {

using namespace mcgate::host;
using Clock = std::chrono::steady_clock;

/// A client of one connection.
class Client {
public:
    explicit Client(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval patience{20, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    Client(Client&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    ~Client() {
        if (socket_ >= 0) close(socket_);
    }
    void say(const std::string& text) { ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL); }
    std::string hear() {
        std::string all;
        char part[4096];
        for (ssize_t got; (got = recv(socket_, part, sizeof part, 0)) > 0;)
            all.append(part, static_cast<std::size_t>(got));
        return all;
    }

private:
    int socket_ = socket(AF_INET, SOCK_STREAM, 0);
};

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
    Client client() const { return Client(server_->address().address.port()); }
    std::string answer(const std::string& request) const {
        Client one = client();
        one.say(request);
        return one.hear();
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
    std::vector<Client> slow;
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
