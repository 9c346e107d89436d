#include "platform/registry.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "platform/errors.h"
#include "platform/linux/registry_file.h"
#include "platform/process/registry_tree.h"

namespace mcgate::platform {

namespace {

using process::RegistryTree;

std::mutex pathLock;  // a leaf
// Never destroyed: threads may still ask while the process ends.
std::string& path = *new std::string;

template <class Action>
int withoutThrowing(Action&& action) noexcept {
    try {
        return action();
    } catch (const std::bad_alloc&) {
        return ErrorNotEnoughMemory;
    } catch (...) {
        return ErrorGenFailure;
    }
}

int read(const std::string& file, RegistryTree& tree) {
    std::string text;
    const int status = file.empty() ? int{ErrorFileNotFound} : readRegistryFile(file, text);
    if (status == ErrorFileNotFound) return 0;
    if (status != 0) return status;
    auto parsed = RegistryTree::parse(text);
    if (!parsed) return ErrorInvalidData;
    tree = std::move(*parsed);
    return 0;
}

template <class Look>
int look(Look&& action) noexcept {
    return withoutThrowing([&]() -> int {
        RegistryTree tree;
        const int status = read(registryFile(), tree);
        return status != 0 ? status : action(tree);
    });
}

/// Reads, changes and replaces the file under its lock, unless the change gives an error.
template <class Change>
int change(Change&& action) noexcept {
    return withoutThrowing([&]() -> int {
        const std::string file = registryFile();
        if (file.empty()) return ErrorPathNotFound;
        const RegistryFileLock lock(file);
        if (lock.status() != 0) return lock.status();
        RegistryTree tree;
        int status = read(file, tree);
        if (status == 0) status = action(tree);
        if (status != 0) return status;
        const std::string text = tree.text();
        if (text.size() > kLargestRegistryFile) return ErrorInvalidData;  // nobody could read it
        return replaceRegistryFile(file, text);
    });
}

}  // namespace

void setRegistryFile(const std::string& file) {
    const std::lock_guard hold(pathLock);
    path = file;
}

std::string registryFile() {
    const std::lock_guard hold(pathLock);
    return path;
}

int writeRegistryValues(const std::string& key, const std::vector<RegistryValue>& values) noexcept {
    // A key stands in a line of its own, and the root holds no values.
    if (key.empty() || std::any_of(key.begin(), key.end(), [](unsigned char letter) { return letter < ' '; }))
        return ErrorInvalidData;
    return change([&](RegistryTree& tree) {
        tree.set(key, values);
        return 0;
    });
}

int readRegistryValue(const std::string& key, const std::string& name, std::string& text) noexcept {
    return look([&](const RegistryTree& tree) -> int {
        const std::string* const found = tree.find(key, name);
        if (found == nullptr) return ErrorFileNotFound;
        text = *found;
        return 0;
    });
}

int listRegistryKeys(const std::string& key, std::vector<std::string>& names) noexcept {
    return look([&](const RegistryTree& tree) -> int {
        if (!tree.has(key)) return ErrorFileNotFound;
        names = tree.children(key);
        return 0;
    });
}

int deleteRegistryKey(const std::string& key) noexcept {
    const int found = look([&](const RegistryTree& tree) -> int { return tree.has(key) ? 0 : ErrorFileNotFound; });
    if (found != 0) return found;
    return change([&](RegistryTree& tree) -> int {
        if (!tree.has(key)) return ErrorFileNotFound;
        tree.erase(key);
        return 0;
    });
}

}  // namespace mcgate::platform
