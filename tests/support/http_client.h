#pragma once
// A client of HTTP in a plain socket, which says whatever a test wants and hears whatever comes.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace test {

/// One connection to a port of 127.0.0.1.
class HttpClient {
public:
    explicit HttpClient(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval patience{20, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    HttpClient(HttpClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    HttpClient& operator=(HttpClient&&) = delete;
    ~HttpClient() {
        if (socket_ >= 0) close(socket_);
    }
    /// False when the connection is closed already.
    bool say(const std::string& text) { return ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL) >= 0; }
    /// No more is said.
    void finish() { shutdown(socket_, SHUT_WR); }
    /// What comes next, at most 64 KiB; empty at the end.
    std::string hearSome() {
        std::string part(1 << 16, '\0');
        const ssize_t got = recv(socket_, part.data(), part.size(), 0);
        part.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return part;
    }
    /// All until the end.
    std::string hear() {
        std::string all;
        for (std::string part; !(part = hearSome()).empty();) all += part;
        return all;
    }

private:
    int socket_ = socket(AF_INET, SOCK_STREAM, 0);
};

/// The whole answer to a request.
inline std::string ask(std::uint16_t port, const std::string& request) {
    HttpClient client(port);
    client.say(request);
    return client.hear();
}

/// 0 for what is no answer.
inline int statusOf(const std::string& answer) {
    return answer.rfind("HTTP/1.1 ", 0) == 0 ? std::atoi(answer.c_str() + 9) : 0;
}

}  // namespace test
