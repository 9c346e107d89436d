#include "support/private_network.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "support/temporary_file.h"

namespace test {

namespace {

constexpr const char* kMark = "MCGATE_TEST_NETWORK";  // set for a program that was started inside one
bool entered = false;

bool put(const std::string& path, const std::string& text) {
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) return false;
    const bool done = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return done;
}

// A sanitizer's runtime may have made a thread before main, and then a user namespace is refused.
void startAnewInside(char** argv) {
    std::error_code problem;
    std::vector<std::string> texts{"unshare", "-Urn", "--", std::filesystem::read_symlink("/proc/self/exe", problem)};
    if (problem) return;
    for (char** word = argv + 1; *word != nullptr; ++word) texts.emplace_back(*word);
    std::vector<char*> words;
    for (auto& text : texts) words.push_back(text.data());
    words.push_back(nullptr);
    setenv(kMark, "1", 1);
    execvp(words[0], words.data());
    unsetenv(kMark);
}

bool moveIn(char** argv) {
    if (std::getenv(kMark) != nullptr) return true;
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user == 0 && unshare(CLONE_NEWNET | CLONE_NEWNS) == 0) return true;
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) == 0) {
        return put("/proc/self/setgroups", "deny") && put("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
               put("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    if (errno == EINVAL) startAnewInside(argv);
    return false;
}

// Without duplicate address detection an IPv6 address can be used as soon as it stands.
void prepare() {
    setNetworkOption("ipv6/conf/all/accept_dad", "0");
    setNetworkOption("ipv6/conf/default/accept_dad", "0");
    ip("link set lo up");
}

}  // namespace

bool enterPrivateNetwork(char** argv) {
    if (!moveIn(argv)) return false;
    try {
        prepare();
        ip("route add local ff15::/16 dev lo table local");
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "private network: %s\n", problem.what());
        return false;
    }
    entered = true;
    return true;
}

bool inPrivateNetwork() noexcept { return entered; }

Host::Host() {
    std::thread([this] {
        if (unshare(CLONE_NEWNET) == 0) descriptor_ = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    }).join();
    if (descriptor_ < 0) throw std::runtime_error("no namespace for another host");
    run(prepare);
}

Host::~Host() { close(descriptor_); }

void Host::enter() const {
    if (setns(descriptor_, CLONE_NEWNET) != 0) throw std::runtime_error("can't enter the other host");
}

std::string Host::name() const { return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(descriptor_); }

void ip(const std::string& lines) {
    const std::string text = lines + "\n";
    const TemporaryFile batch({text.begin(), text.end()});
    std::string said;
    int status = -1;
    // One family for a whole batch would not do: ip finds it out of each address by itself.
    if (std::FILE* pipe = popen(("ip -batch " + batch.path() + " 2>&1").c_str(), "r")) {
        std::array<char, 512> part{};
        while (std::fgets(part.data(), part.size(), pipe) != nullptr) said += part.data();
        status = pclose(pipe);
    }
    if (status != 0) throw std::runtime_error("ip refused '" + lines + "': " + said);
}

void setNetworkOption(const std::string& path, const std::string& value) {
    if (!put("/proc/sys/net/" + path, value)) {
        throw std::runtime_error("can't set net/" + path + " to " + value + ": " + std::strerror(errno));
    }
}

}  // namespace test
