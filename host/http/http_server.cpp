#include "http/http_server.h"

#include <httplib.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "platform/linux/native_address.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kQueue = 512;                       // connections that come while all threads are taken
constexpr std::chrono::milliseconds kGlance{20};  // at those that wait
constexpr int kBreathMs = 100;                    // when the process has no descriptor left
constexpr std::chrono::seconds kFarewell{1};
constexpr std::size_t kFarewellBytes = 2 << 20;
constexpr const char* kTooLong = " is over 8192 bytes; right would be a shorter one";  // for the library

std::runtime_error failure(const ListenAddress& address) {
    return std::runtime_error("can't listen on " + address.text() + ": " + std::generic_category().message(errno) +
                              "; right would be a free port, and an address of this host");
}

platform::FileDescriptor listenOn(const ListenAddress& address) {
    const bool six = address.address.family() == platform::kFamilyIPv6;
    platform::FileDescriptor listening(
        ::socket(six ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!listening.valid()) throw failure(address);
    const int on = 1;
    ::setsockopt(listening.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);  // what is left of connections that ended
    if (six) ::setsockopt(listening.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    const auto native = platform::toNative(address.address);
    if (::bind(listening.get(), native.get(), native.length) != 0 || ::listen(listening.get(), kQueue) != 0) {
        throw failure(address);
    }
    return listening;
}

platform::SocketAddress localAddress(int socket) {
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&storage), &length);
    return platform::fromNative(storage);
}

}  // namespace

/// The library's routing and parsing over connections of ours.
class HttpServer::Core final : public httplib::Server {
public:
    explicit Core(int listening) {
        svr_sock_ = listening;  // by which it knows that it isn't shutting down
        set_error_handler([](const httplib::Request& request, httplib::Response& response) {
            if (!response.body.empty()) return;
            const HttpFault fault = faultOf(request, response.status);
            response.status = fault.status;
            if (!fault.text.empty()) response.set_content(fault.text + "\n", "text/plain; charset=utf-8");
        });
    }
    void shutDown() noexcept { svr_sock_ = INVALID_SOCKET; }
    void serve(Connection& connection);
};

/// One connection, whose reads share a deadline, and whose waits end with the server.
class HttpServer::Connection final : public httplib::Stream {
public:
    Connection(int socket, const HttpServer& server)
        : socket_(socket),
          server_(server),
          begun_(Clock::now()),
          readUntil_(begun_ + server.limits_.request),
          mayRead_(server.limits_.head) {
        serving_ = this;
        const int on = 1;
        ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // head and body are two writes
    }

    ~Connection() override { serving_ = nullptr; }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// That of this thread, if it has one.
    static const Connection* serving() noexcept { return serving_; }
    HttpFault faultOf(const httplib::Request& request, int status) const {
        if (status == 414) return {414, std::string("the request line") + kTooLong};
        if (status != 400) return {status, ""};
        if (server_.isStopping()) return {503, "the program is ending; right would be to ask again later"};
        if (end_ == End::Late) return {408, "the request came too slowly; right would be to send it at once"};
        if (end_ == End::Cut) return {400, "the request broke off; right would be a whole one"};
        if (!inHead_) return {400, ""};
        if (end_ == End::Full) {
            return {431, "the head of the request is over " + std::to_string(server_.limits_.head) +
                             " bytes; right would be a shorter one"};
        }
        if (request.path.empty()) {
            return {400, "the request doesn't begin as one of HTTP; right would be such as 'GET / HTTP/1.1'"};
        }
        return {431, std::string("a header field") + kTooLong};
    }

    bool is_readable() const override { return next_ < filled_ || waitToRead(); }
    bool is_writable() const override { return wait(POLLOUT, Clock::now() + server_.limits_.write); }
    // The library asks for a byte at a time.
    ssize_t read(char* bytes, std::size_t size) override {
        if (next_ == filled_ && !fill()) return 0;
        const std::size_t taken = std::min(size, filled_ - next_);
        std::copy_n(buffer_.data() + next_, taken, bytes);
        next_ += taken;
        return static_cast<ssize_t>(taken);
    }
    // The library takes a short write for a failure.
    ssize_t write(const char* bytes, std::size_t size) override {
        const auto until = Clock::now() + server_.limits_.write;
        std::size_t written = 0;
        while (written < size) {
            const ssize_t taken = ::send(socket_, bytes + written, size - written, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (taken > 0) written += static_cast<std::size_t>(taken);
            if (taken >= 0 || errno == EINTR) continue;
            if (errno != EAGAIN || !wait(POLLOUT, until)) return -1;  // an end waits for no client that reads slowly
        }
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        sockaddr_storage storage{};
        socklen_t length = sizeof storage;
        ::getpeername(socket_, reinterpret_cast<sockaddr*>(&storage), &length);
        tell(platform::fromNative(storage), ip, port);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override { tell(localAddress(socket_), ip, port); }
    socket_t socket() const override { return socket_; }
    /// The head has been read; so much may follow.
    void expectBody(std::size_t size) {
        mayRead_ = size;
        inHead_ = false;
    }
    /// Reads on for a while before the end, as what is left unread would reset the connection and take the answer
    /// along.
    void finish() {
        ::shutdown(socket_, SHUT_WR);
        begun_ = Clock::now();
        readUntil_ = begun_ + kFarewell;
        mayRead_ = kFarewellBytes;
        do next_ = filled_;
        while (fill());
    }

private:
    enum class End { None, Full, Late, Cut };

    static void tell(const platform::SocketAddress& address, std::string& ip, int& port) {
        ip = platform::numericText(address);
        port = address.port();
    }
    bool wait(short what, Clock::time_point until) const {
        for (;;) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
            if (left <= 0) return false;
            std::array<pollfd, 2> those{{{server_.stop_.get(), POLLIN, 0}, {socket_, what, 0}}};
            const int ready = ::poll(those.data(), those.size(), static_cast<int>(left));
            if (ready < 0 && errno == EINTR) continue;
            if (ready > 0) return those[0].revents == 0;
        }
    }
    bool waitToRead() const {
        for (;;) {
            const auto now = Clock::now();
            if (now >= readUntil_ || now - begun_ >= server_.patience()) return false;
            if (wait(POLLIN, std::min(readUntil_, now + kGlance))) return true;
            if (server_.isStopping()) return false;
        }
    }
    bool fill() {
        while (mayRead_ > 0 && waitToRead()) {
            const ssize_t got = ::recv(socket_, buffer_.data(), std::min(buffer_.size(), mayRead_), MSG_DONTWAIT);
            if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
            next_ = 0;
            filled_ = got > 0 ? static_cast<std::size_t>(got) : 0;
            mayRead_ -= filled_;
            if (got <= 0) end_ = End::Cut;
            return got > 0;
        }
        end_ = mayRead_ == 0 ? End::Full : End::Late;
        return false;
    }

    static inline thread_local const Connection* serving_ = nullptr;

    const int socket_;
    const HttpServer& server_;
    Clock::time_point begun_;
    Clock::time_point readUntil_;
    std::size_t mayRead_;  ///< bytes
    std::array<char, 4096> buffer_{};
    std::size_t next_ = 0;
    std::size_t filled_ = 0;
    bool inHead_ = true;
    End end_ = End::None;  ///< why there is nothing more to read
};

// What compressing, unpacking or cutting into ranges would cost is no client's to choose. A packed body is taken as it
// is, and makes no sense to its handler.
void HttpServer::Core::serve(Connection& connection) {
    bool closed = false;
    process_request(connection, true, closed, [&](httplib::Request& request) {
        request.headers.erase("Accept-Encoding");
        request.headers.erase("Content-Encoding");
        request.ranges.clear();
        connection.expectBody(payload_max_length_);
    });
}

HttpServer::HttpServer(const ListenAddress& address, const HttpLimits& limits)
    : limits_(limits),
      listening_(listenOn(address)),
      stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      core_(std::make_unique<Core>(listening_.get())) {
    if (!stop_.valid()) throw failure(address);
    core_->set_payload_max_length(limits.body);
}

HttpServer::~HttpServer() { beginEnd(); }

void HttpServer::beginEnd() noexcept {
    core_->shutDown();
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(stop_.get(), &one, sizeof one);
    ::shutdown(listening_.get(), SHUT_RDWR);  // those that wait in its queue, too, needn't do so any longer
}

HttpFault HttpServer::faultOf(const httplib::Request& request, int status) {
    const Connection* const connection = Connection::serving();
    return connection != nullptr ? connection->faultOf(request, status) : HttpFault{status, ""};
}

httplib::Server& HttpServer::routes() noexcept { return *core_; }

void HttpServer::start() {
    while (threads_.size() < limits_.connections) threads_.emplace_back([this] { work(); });
}

ListenAddress HttpServer::address() const { return {localAddress(listening_.get())}; }

void HttpServer::work() {
    for (;;) {
        std::array<pollfd, 2> those{{{stop_.get(), POLLIN, 0}, {listening_.get(), POLLIN, 0}}};
        ::poll(those.data(), those.size(), -1);
        if (those[0].revents != 0) return;
        const platform::FileDescriptor socket(::accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (socket.valid()) {
            ++serving_;
            serve(socket.get());
            --serving_;
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            ::poll(those.data(), 1, kBreathMs);
        }
    }
}

bool HttpServer::isStopping() const noexcept {
    pollfd stop{stop_.get(), POLLIN, 0};
    return ::poll(&stop, 1, 0) > 0;
}

// Connections in the kernel's queue.
std::size_t HttpServer::waiting() const noexcept {
    tcp_info info{};
    socklen_t size = sizeof info;
    const bool known = ::getsockopt(listening_.get(), IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
    return known ? info.tcpi_unacked : 0;  // which of a listening socket means this
}

// For a request, as long as it is no longer than its own limit.
std::chrono::milliseconds HttpServer::patience() const noexcept {
    if (serving_.load() < limits_.connections) return limits_.request;
    const std::size_t queued = waiting();
    if (queued == 0) return limits_.request;
    return limits_.crowded * limits_.connections / (limits_.connections + queued);
}

// A thread of a server outlives what a request or its handler throws: the connection is closed.
void HttpServer::serve(int socket) {
    try {
        Connection connection(socket, *this);
        core_->serve(connection);
        connection.finish();
    } catch (const std::exception&) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

}  // namespace mcgate::host

#ifdef __SANITIZE_THREAD__
// Debian's library isn't built for the thread sanitizer, which doesn't see what guards the making of its constants, and
// then takes their bytes on the way to send for a race. What the library itself copies is left out; our own calls and
// reads, in handlers too, are watched as ever.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() { return "called_from_lib:libcpp-httplib.so\n"; }
#endif
