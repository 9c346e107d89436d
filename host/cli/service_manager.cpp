#include "cli/service_manager.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

namespace mcgate::host {

namespace {

std::optional<std::uint64_t> numberOf(const char* name) {
    const char* const text = std::getenv(name);
    if (text == nullptr) return std::nullopt;
    std::uint64_t number = 0;
    const char* const end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

// The watchdog may be meant for another process than this.
std::optional<std::chrono::microseconds> watchdogPeriod() {
    const auto limit = numberOf("WATCHDOG_USEC");
    const auto process = numberOf("WATCHDOG_PID");
    const auto own = static_cast<std::uint64_t>(getpid());
    if (limit.value_or(0) == 0 || process.value_or(own) != own) return std::nullopt;
    return std::chrono::microseconds(std::max<std::uint64_t>(*limit / 2, 1));
}

// -1 where there is no such socket.
int connectTo(std::string_view name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.size() < 2 || name.size() >= sizeof address.sun_path || (name[0] != '/' && name[0] != '@')) return -1;
    std::copy(name.begin(), name.end(), address.sun_path);
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    const int made = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval patience{1, 0};
    if (made >= 0) setsockopt(made, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (made >= 0 && connect(made, reinterpret_cast<const sockaddr*>(&address), size) == 0) return made;
    if (made >= 0) close(made);
    return -1;
}

}  // namespace

ServiceManager::ServiceManager() : period_(watchdogPeriod()), nextSign_(std::chrono::steady_clock::now()) {
    if (const char* const name = std::getenv("NOTIFY_SOCKET")) socket_ = connectTo(name);
}

ServiceManager::~ServiceManager() {
    if (socket_ >= 0) close(socket_);
}

void ServiceManager::ready() { send("READY=1"); }

// The manager tells by the time whether what comes later belongs to this reload.
void ServiceManager::reloading() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto microseconds = static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
    send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

void ServiceManager::stopping() { send("STOPPING=1"); }

void ServiceManager::status(const std::string& text) {
    if (text != told_ && send("STATUS=" + text, MSG_DONTWAIT)) told_ = text;
}

void ServiceManager::keepAlive() {
    const auto now = std::chrono::steady_clock::now();
    if (!period_ || now < nextSign_) return;
    nextSign_ = now + *period_;
    send("WATCHDOG=1", MSG_DONTWAIT);
}

bool ServiceManager::send(const std::string& message, int flags) const {
    return socket_ >= 0 && ::send(socket_, message.data(), message.size(), flags | MSG_NOSIGNAL) >= 0;
}

}  // namespace mcgate::host
