#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace mcgate::host {

/// A child process whose lines on standard error are handed on as they come. Ended by SIGTERM if it still runs at
/// destruction.
class Child {
public:
    /// `line` is called on a thread of this object. Throws std::system_error when the program can't be started.
    Child(const std::vector<std::string>& command, std::function<void(const std::string&)> line);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// Waits for its end: the exit status, or 128 and more for a signal.
    int wait();
    bool hasEnded() const;
    void stop() const;
    void signal(int number) const;

private:
    void readLines(int descriptor) const;

    std::function<void(const std::string&)> line_;
    pid_t id_ = -1;
    std::thread reader_;
};

}  // namespace mcgate::host
