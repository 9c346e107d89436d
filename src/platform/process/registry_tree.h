#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace mcgate::process {

/// Orders names without regard to the case of Latin letters.
struct NameLess {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const noexcept;
};

/// The registry's keys and values, and their form as text:
///
///     mcgate registry 1
///
///     [HKEY_CLASSES_ROOT\CLSID\{...}\InprocServer32]
///     @="/usr/lib/mcgate/mcgate.AX"
///     "ThreadingModel"="Both"
///
/// `@` is the default value; within quotes a backslash stands before a backslash or a quote, and \n is a line's end.
/// A line that begins with ; is a remark, which a change of the file drops. One thread.
class RegistryTree {
public:
    /// Nothing for a text of another form; an empty text is an empty tree.
    static std::optional<RegistryTree> parse(std::string_view text);
    std::string text() const;

    /// Makes the key, if need be, and sets values of it.
    void set(const std::string& key, const std::vector<platform::RegistryValue>& values);
    /// Null when the key or the value isn't there.
    const std::string* find(std::string_view key, std::string_view name) const;
    bool has(std::string_view key) const;
    std::vector<std::string> children(std::string_view key) const;
    void erase(std::string_view key);

private:
    using Values = std::map<std::string, std::string, NameLess>;
    bool parseLine(std::string_view line, Values*& values);

    /// By full name; those above are there by being part of the name.
    std::map<std::string, Values, NameLess> keys_;
};

}  // namespace mcgate::process
