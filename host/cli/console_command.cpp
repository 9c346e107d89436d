#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "console/routes.h"
#include "console/secrets.h"
#include "http/http_server.h"
#include "streams/profile.h"

namespace mcgate::host {

namespace {

using Clock = std::chrono::steady_clock;

// As many threads as there can be event streams and requests that wait, and some for all others.
constexpr HttpLimits kLimits{.connections = EventHub::kMostStreams + WaitingRoom::kMost + 24,
                             .request = std::chrono::seconds(10),
                             .body = Access::kMostBody};
constexpr std::chrono::milliseconds kLook{50};  // at the stop request

std::string accessTokenFor(const ListenAddress& address, const std::string& tokenFile) {
    if (!tokenFile.empty()) return readTokenFile(tokenFile);
    if (address.isLoopback()) return {};
    throw UsageError("others reach " + address.text() +
                     "; right would be --token-file FILE beside it, or an address "
                     "of the loopback interface");
}

// A profile that isn't there yet is made when it is saved.
std::vector<StreamSettings> profileAt(const std::string& path) {
    if (path.empty()) return {};
    if (std::filesystem::exists(path)) return readProfile(path);
    const auto directory = std::filesystem::path(path).parent_path();
    if (!directory.empty() && !std::filesystem::is_directory(directory)) {
        throw UsageError(path + ": there is no directory " + directory.string() + " to save it in" +
                         "; right would be a file of one that is there");
    }
    std::fprintf(stderr, "mcgate: %s isn't there yet; saving the profile makes it\n", path.c_str());
    return {};
}

void turnUntilStopped(Console& console) {
    auto next = Clock::now();
    while (!stopRequested()) {
        if (const auto now = Clock::now(); now >= next) {
            console.turn();
            do next += std::chrono::seconds(1);
            while (next <= now);  // a late turn doesn't move those behind it
        }
        std::this_thread::sleep_for(kLook);
    }
}

}  // namespace

int runConsole(const ConsoleOptions& options) {
    const ListenAddress address = parseListenAddress(options.listen);
    const std::string token = accessTokenFor(address, options.tokenFile);
    const auto profile = profileAt(options.profile);
    Console console(options.profile, FileBounds(options.files, {options.profile, options.tokenFile}));
    const Access access(address, token);
    HttpServer server(address, kLimits);
    addConsole(server.routes(), console, access);
    console.start(profile);
    server.start();
    std::fprintf(stderr, "mcgate: the console is at http://%s/\n", address.text().c_str());
    turnUntilStopped(console);
    server.beginEnd();
    console.beginEnd();  // before the server waits for handlers, which may wait for streams
    return 0;
}

}  // namespace mcgate::host
