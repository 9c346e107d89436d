#include "console/secrets.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "cli/url.h"
#include "platform/linux/file_descriptor.h"

namespace mcgate::host {

namespace {

constexpr std::size_t kFewest = 16;
constexpr std::size_t kMost = 256;

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw UsageError("the token file " + path + " " + reason);
}

std::string readShort(const std::string& path) {
    const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.valid() || ::fstat(file.get(), &status) != 0) {
        refuse(path, "can't be opened: " + std::generic_category().message(errno));
    }
    if ((status.st_mode & S_IRWXO) != 0) {
        refuse(path, "is open to every user of this machine; right would be chmod 600 " + path);
    }
    std::string content(kMost + 2, '\0');
    const ssize_t count = ::read(file.get(), content.data(), content.size());
    if (count < 0) refuse(path, "can't be read: " + std::generic_category().message(errno));
    content.resize(static_cast<std::size_t>(count));
    return content;
}

}  // namespace

std::string randomSecret() {
    std::array<unsigned char, 32> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the system gives no random bytes: " + std::generic_category().message(errno));
    }
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

bool equalInConstantTime(std::string_view one, std::string_view other) noexcept {
    if (one.size() != other.size()) return false;
    volatile unsigned char difference = 0;
    for (std::size_t i = 0; i < one.size(); ++i) {
        difference = static_cast<unsigned char>(difference | (one[i] ^ other[i]));
    }
    return difference == 0;
}

std::string readTokenFile(const std::string& path) {
    std::string token = readShort(path);
    if (token.ends_with('\n')) token.pop_back();
    if (token.ends_with('\r')) token.pop_back();
    const bool visible = std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c <= '~'; });
    if (!visible || token.size() < kFewest || token.size() > kMost) {
        refuse(path, "holds no token; right would be one line of " + std::to_string(kFewest) + " to " +
                         std::to_string(kMost) + " visible ASCII characters, as openssl rand -hex 32 makes them");
    }
    return token;
}

}  // namespace mcgate::host
