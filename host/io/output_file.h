#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mcgate::host {

/// Where bytes go: a file, a device, a pipe, or standard output for the path "-". Bytes for a file are gathered, all
/// others leave at once. Waiting for a slow reader, or for the first reader of a named pipe, ends with a stop: what
/// then can't be written within a second is given up and counted. One thread at a time.
class OutputFile {
public:
    /// Looked at every 100 ms of a wait.
    using Stop = std::function<bool()>;

    /// What becomes of a file that is there. By `New` it is refused, as is a link, but not a named pipe; `AppendOwn`
    /// writes behind what `New` made, and refuses a link, too.
    enum class Begin { Empty, Append, New, AppendOwn };

    /// Opens it, without ever waiting. Throws std::runtime_error that names path and reason; write and flush do the
    /// same.
    OutputFile(const std::string& path, Stop stopRequested, Begin begin = Begin::Empty);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(const std::uint8_t* data, std::size_t size);
    /// Writes what was gathered.
    void flush();
    /// Bytes that a stop made it give up.
    std::uint64_t givenUp() const noexcept { return givenUp_; }
    /// Path, or what stands for it in a message.
    const std::string& name() const noexcept { return name_; }

    /// Throws as the constructor does for a path that can't be written; creates nothing.
    static void check(const std::string& path);

private:
    bool open();
    void writeOut(const std::uint8_t* data, std::size_t size);
    bool waitUntilWritable();
    bool mayWait();
    [[noreturn]] void fail() const;

    const std::string path_;
    const std::string name_;
    const Stop stopRequested_;
    const int flags_;  ///< for opening; without O_CREAT for what is to be a named pipe
    int descriptor_ = -1;
    bool isFile_ = false;
    bool isSocket_ = false;
    std::vector<std::uint8_t> gathered_;
    std::uint64_t givenUp_ = 0;
    std::optional<std::chrono::steady_clock::time_point> deadline_;  ///< from the first look that saw a stop
};

}  // namespace mcgate::host
