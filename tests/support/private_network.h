#pragma once
// A network of the test's own: the process moves into a fresh network namespace, and further namespaces stand for other
// hosts. No privilege is needed where the system allows user namespaces; where it doesn't, tests run on the host's
// loopback interface or skip.

#include <string>
#include <thread>

namespace test {

/// Moves the process into a private network with only a loopback interface, which is brought up. To be called as the
/// first statement of main, while the process has one thread; may start the program anew. False where it is refused.
bool enterPrivateNetwork(char** argv);
/// Whether enterPrivateNetwork did.
bool inPrivateNetwork() noexcept;

/// Another host: a network namespace that lives as long as the object. Sockets that a thread makes stay in the
/// namespace that the thread was in.
class Host {
public:
    Host();
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Runs `action` on a thread inside this host and passes on what it throws. Threads and commands started there
    /// belong to the host, too.
    template <class Action>
    void run(Action&& action) const {
        std::exception_ptr failure;
        std::thread([&] {
            try {
                enter();
                action();
            } catch (...) {
                failure = std::current_exception();
            }
        }).join();
        if (failure) std::rethrow_exception(failure);
    }
    /// Moves the calling thread into this host for the rest of its life.
    void enter() const;
    /// What the ip command takes for `netns`.
    std::string name() const;

private:
    int descriptor_ = -1;
};

/// Runs lines of `ip -batch` in the calling thread's namespace. Throws std::runtime_error with what ip said.
void ip(const std::string& lines);
/// Writes /proc/sys/net/`path` of the calling thread's namespace; throws std::runtime_error.
void setNetworkOption(const std::string& path, const std::string& value);

}  // namespace test
