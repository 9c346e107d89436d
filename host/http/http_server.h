#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "http/listen_address.h"
#include "platform/linux/file_descriptor.h"

namespace httplib {
struct Request;
class Server;
}  // namespace httplib

namespace mcgate::host {

/// What a client may take of a server.
struct HttpLimits {
    std::size_t connections = 4;  ///< served at a time, each by a thread of its own; more wait in the kernel's queue
    std::chrono::milliseconds request{2000};  ///< for a whole request, however its bytes come
    std::chrono::milliseconds write{5000};    ///< for the client to take one piece of an answer
    std::chrono::milliseconds crowded{500};   ///< for a request while others wait for a thread; less, the more wait
    std::size_t head = 16 << 10;              ///< bytes of a request line and its header fields together
    std::size_t body = 0;                     ///< bytes; more are refused with 413
};

/// A status of HTTP (RFC 9110, section 15; RFC 6585, section 5), and a sentence for the user.
struct HttpFault {
    int status = 400;
    std::string text;
};

/// A small HTTP/1.1 server (RFC 9112): one request a connection, whole and uncompressed answers. Whatever clients do,
/// each holds one thread for no longer than the limits, or than a handler writes to it, and a stop waits for none.
/// While all threads are taken and more connections wait, who hasn't sent a whole request soon makes room: the threads
/// share HttpLimits::crowded with those that wait, so that each of these is served within a second or two.
/// Threads: one makes it, adds routes, starts it and lets it go. Each of its threads accepts a connection, serves it
/// and closes it; they share the listening socket and the stop event of the kernel, and no lock. Handlers run on them.
class HttpServer {
public:
    /// Takes the port. Throws std::runtime_error with the address and the system's reason.
    HttpServer(const ListenAddress& address, const HttpLimits& limits);
    /// As beginEnd; then waits for handlers in progress.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// For error handlers: what was wrong with a request that was refused before any handler saw it, with this status.
    /// Without a text where that isn't known. It is also what such a client gets as long as there is no error handler.
    static HttpFault faultOf(const httplib::Request& request, int status);

    /// For handlers, before start.
    httplib::Server& routes() noexcept;
    void start();
    /// Takes no more connections, and ends those that are open, but for the answer of a handler in progress. Any
    /// thread.
    void beginEnd() noexcept;
    /// With the port that the system chose, where 0 was given.
    ListenAddress address() const;

private:
    class Core;
    class Connection;
    void work();
    void serve(int socket);
    bool isStopping() const noexcept;
    std::size_t waiting() const noexcept;
    std::chrono::milliseconds patience() const noexcept;

    const HttpLimits limits_;
    platform::FileDescriptor listening_;
    platform::FileDescriptor stop_;
    std::unique_ptr<Core> core_;
    std::atomic<std::size_t> serving_{0};  ///< threads that have a connection
    std::vector<std::jthread> threads_;
};

}  // namespace mcgate::host
