#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "streams/stream_settings.h"

namespace mcgate::host {

/// Which files a stream may read and write that the console's page adds: those below one directory, none that is
/// hidden, and none that the console itself uses. What is there already is not written over, but for a named pipe. So
/// whoever reaches the page reaches no other file of the user's. Profiles on the command line name what they like.
///
/// Looked at when a stream is added: no request can make a file or a link afterwards. What somebody else puts at the
/// place of an output meanwhile is not written over either.
/// Threads: any; nothing changes after the construction. It looks into the file system, which may take its time.
class FileBounds {
public:
    /// `directory` is empty for the one that the program works in; `own`: files of the console, which may be empty or
    /// not there. Throws UsageError for what is no directory.
    FileBounds(const std::string& directory, const std::vector<std::string>& own);

    /// Makes names whole, from the root on. Throws UsageError, `path` in front, with the name and what would be right.
    void apply(StreamSettings& settings, const std::string& path) const;

private:
    std::filesystem::path resolved(const std::string& name, const std::string& path) const;
    void bound(std::string& name, const std::string& path, bool isWritten) const;

    const std::filesystem::path bounds_;  ///< without links
    std::vector<std::filesystem::path> own_;
};

}  // namespace mcgate::host
