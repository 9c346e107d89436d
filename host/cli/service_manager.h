#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace mcgate::host {

/// Tells the service manager that started this process how it is doing, by datagrams to the socket that the environment
/// names in NOTIFY_SOCKET (systemd: sd_notify(3), a path or an abstract name behind an '@'); nothing where it names
/// none. A manager that doesn't read is waited for a second, by what it must not miss alone. One thread.
class ServiceManager {
public:
    ServiceManager();
    ~ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    void ready();
    /// A reload has begun; ready says that it is over.
    void reloading();
    void stopping();
    /// One line about the state; told when it is another than before.
    void status(const std::string& text);
    /// To be called in each turn of the main loop: a sign of life twice in the time that WATCHDOG_USEC gives.
    void keepAlive();

private:
    bool send(const std::string& message, int flags = 0) const;

    int socket_ = -1;
    std::string told_;
    std::optional<std::chrono::microseconds> period_;
    std::chrono::steady_clock::time_point nextSign_;
};

}  // namespace mcgate::host
