#include "console/file_bounds.h"

#include <algorithm>
#include <utility>

#include "cli/url.h"

namespace mcgate::host {

namespace {

namespace fs = std::filesystem;

fs::path canonicalDirectory(const std::string& directory) {
    std::error_code problem;
    fs::path result = fs::canonical(directory.empty() ? "." : directory, problem);
    if (!problem && fs::is_directory(result, problem)) return result;
    throw UsageError("--files '" + directory + "' is no directory that can be read; right would be one that is there");
}

[[noreturn]] void refuse(const std::string& path, const std::string& name, const std::string& reason,
                         const std::string& right) {
    throw UsageError(path + ": '" + name + "' " + reason + "; right would be " + right);
}

bool isHidden(const fs::path& name) { return name.native().starts_with('.'); }

}  // namespace

FileBounds::FileBounds(const std::string& directory, const std::vector<std::string>& own)
    : bounds_(canonicalDirectory(directory)) {
    for (const auto& name : own) {
        std::error_code problem;
        if (!name.empty()) own_.push_back(fs::weakly_canonical(fs::absolute(name, problem), problem));
    }
}

void FileBounds::apply(StreamSettings& settings, const std::string& path) const {
    if (auto* send = std::get_if<SendSettings>(&settings.of)) bound(send->input, path + ".input", false);
    if (auto* receive = std::get_if<ReceiveSettings>(&settings.of)) {
        if (!receive->out.empty()) bound(receive->out, path + ".out", true);
        receive->newFile = true;
    }
}

// Without links and "..".
fs::path FileBounds::resolved(const std::string& name, const std::string& path) const {
    std::error_code problem;
    fs::path result = fs::weakly_canonical(bounds_ / name, problem);
    if (problem) refuse(path, name, "can't be looked up: " + problem.message(), "a file in " + bounds_.string());
    // Of a link that leads to nothing yet, its own name is left.
    if (fs::is_symlink(fs::symlink_status(result, problem))) {
        refuse(path, name, "is a link to nothing", "a file in " + bounds_.string());
    }
    return result;
}

void FileBounds::bound(std::string& name, const std::string& path, bool isWritten) const {
    const std::string right = "a file in " + bounds_.string();
    if (name == "-") refuse(path, name, "is a standard stream of the program, which is not the page's", right);
    const fs::path found = resolved(name, path);
    const fs::path below = found.lexically_relative(bounds_);
    if (below.empty() || *below.begin() == "..") refuse(path, name, "is outside", right + " (see --files)");
    std::error_code none;
    if (fs::is_directory(found, none)) refuse(path, name, "is a directory", right);
    if (std::any_of(below.begin(), below.end(), isHidden)) refuse(path, name, "is hidden", right + " that is not");
    if (std::find(own_.begin(), own_.end(), found) != own_.end()) refuse(path, name, "is the console's own", right);
    if (isWritten && fs::exists(found, none) && !fs::is_fifo(found, none)) {
        refuse(path, name, "is there already", "a new name");
    }
    name = found.string();  // wherever the profile that holds it is run next
}

}  // namespace mcgate::host
