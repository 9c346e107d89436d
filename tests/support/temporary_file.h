#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace test {

/// A file of its own in the system's temporary directory, gone with the object.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::vector<std::uint8_t>& content = {}) {
        const int descriptor = mkstemp(path_.data());
        if (descriptor < 0) throw std::runtime_error("no temporary file");
        close(descriptor);
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    }
    ~TemporaryFile() { unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const noexcept { return path_; }
    std::vector<std::uint8_t> content() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::string path_ = (std::getenv("TMPDIR") != nullptr ? std::string(std::getenv("TMPDIR")) : std::string("/tmp")) +
                        "/mcgate-test-XXXXXX";
};

}  // namespace test
