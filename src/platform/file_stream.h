#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/stream.h"

namespace mcgate::platform {

/// A stream over a file, for reading or for writing it anew. What is written grows in a file beside it and takes its
/// name in one step with commit(): whoever opens the name finds the old file or the new one, whole. Without commit()
/// nothing changes; a process that is killed before may leave the part, FILE.PID-N.part.
class FileStream final : public CountedStream {
public:
    /// For reading, from the front on. Both follow a link, refuse a directory, a device or a pipe, and throw
    /// std::runtime_error that names path and reason.
    static ComPtr<FileStream> open(const std::string& path);
    /// For writing. The new file has the old one's permissions and, where this process may give files away, its owner.
    static ComPtr<FileStream> create(const std::string& path);

    /// The name that create() writes for a path: links are followed, also to where no file is yet.
    static std::string targetOf(const std::string& path);

    /// Gives less than `size` bytes at the end of the file alone. STG_E_READFAULT.
    HRESULT Read(void* buffer, std::uint32_t size, std::uint32_t* read) override;
    /// STG_E_MEDIUMFULL, STG_E_WRITEFAULT.
    HRESULT Write(const void* data, std::uint32_t size, std::uint32_t* written) override;
    /// Brings what was written to the disk and gives it its name. Throws as create() does, and when a Write failed.
    void commit();

private:
    explicit FileStream(std::string path) noexcept : path_(std::move(path)) {}
    ~FileStream() override;
    void beginBeside();
    void demandFile(const char* attempt, unsigned mode) const;
    [[noreturn]] void refuse(const char* attempt, int error) const;

    const std::string path_;  ///< as the caller wrote it
    std::string target_;      ///< of commit, links followed
    std::string part_;        ///< that grows beside it; empty for a stream that is read, or committed
    int descriptor_ = -1;
    int writeError_ = 0;  ///< the kernel's number
};

}  // namespace mcgate::platform
