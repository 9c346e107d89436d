#include "platform/process/registry_tree.h"

#include <algorithm>

namespace mcgate::process {

namespace {

constexpr std::string_view kFirstLine = "mcgate registry 1";
constexpr std::string_view kRoot = "HKEY_CLASSES_ROOT\\";

char lower(char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool sameName(std::string_view left, std::string_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

bool isBelow(std::string_view name, std::string_view key) noexcept {
    return name.size() > key.size() && name[key.size()] == '\\' && sameName(name.substr(0, key.size()), key);
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char letter : text) {
        if (letter == '\\' || letter == '"') result += '\\';
        if (letter == '\n') {
            result += "\\n";
        } else {
            result += letter;
        }
    }
    return result + '"';
}

/// Takes a quoted text from the front of `line`.
std::optional<std::string> takeQuoted(std::string_view& line) {
    if (!line.starts_with('"')) return std::nullopt;
    std::string text;
    for (std::size_t at = 1; at < line.size(); ++at) {
        if (line[at] == '"') {
            line.remove_prefix(at + 1);
            return text;
        }
        const bool escaped = line[at] == '\\';
        if (escaped && ++at == line.size()) break;
        text += escaped && line[at] == 'n' ? '\n' : line[at];
    }
    return std::nullopt;
}

std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
    return line;
}

}  // namespace

// A key comes right before all that is below it.
bool NameLess::operator()(std::string_view left, std::string_view right) const noexcept {
    const auto rank = [](char letter) { return letter == '\\' ? '\0' : lower(letter); };
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [rank](char a, char b) { return rank(a) < rank(b); });
}

std::optional<RegistryTree> RegistryTree::parse(std::string_view text) {
    RegistryTree tree;
    if (text.empty()) return tree;
    if (takeLine(text) != kFirstLine) return std::nullopt;
    Values* values = nullptr;
    while (!text.empty()) {
        if (!tree.parseLine(takeLine(text), values)) return std::nullopt;
    }
    return tree;
}

// `values` are those of the key last named, null before the first.
bool RegistryTree::parseLine(std::string_view line, Values*& values) {
    if (line.empty() || line.front() == ';') return true;
    if (line.front() == '[') {
        line.remove_prefix(1);
        if (line.size() <= kRoot.size() + 1 || line.back() != ']' || !sameName(line.substr(0, kRoot.size()), kRoot)) {
            return false;
        }
        line.remove_suffix(1);
        values = &keys_[std::string(line.substr(kRoot.size()))];
        return true;
    }
    if (values == nullptr) return false;
    std::optional<std::string> name;
    if (line.front() == '@') {
        line.remove_prefix(1);
        name.emplace();
    } else {
        name = takeQuoted(line);
    }
    if (!name || !line.starts_with('=')) return false;
    line.remove_prefix(1);
    std::optional<std::string> value = takeQuoted(line);
    if (!value || !line.empty()) return false;
    (*values)[*name] = std::move(*value);
    return true;
}

std::string RegistryTree::text() const {
    std::string result(kFirstLine);
    result += '\n';
    for (const auto& [key, values] : keys_) {
        result.append("\n[").append(kRoot).append(key).append("]\n");
        for (const auto& [name, value] : values) {
            result += name.empty() ? std::string("@") : quoted(name);
            result.append("=").append(quoted(value)).append("\n");
        }
    }
    return result;
}

void RegistryTree::set(const std::string& key, const std::vector<platform::RegistryValue>& values) {
    Values& own = keys_[key];
    for (const auto& [name, text] : values) own[name] = text;
}

const std::string* RegistryTree::find(std::string_view key, std::string_view name) const {
    const auto values = keys_.find(key);
    if (values == keys_.end()) return nullptr;
    const auto value = values->second.find(name);
    return value != values->second.end() ? &value->second : nullptr;
}

bool RegistryTree::has(std::string_view key) const {
    return std::any_of(keys_.begin(), keys_.end(),
                       [key](const auto& one) { return sameName(one.first, key) || isBelow(one.first, key); });
}

std::vector<std::string> RegistryTree::children(std::string_view key) const {
    std::vector<std::string> names;
    for (const auto& [name, values] : keys_) {
        if (!isBelow(name, key)) continue;
        const std::string_view rest = std::string_view(name).substr(key.size() + 1);
        const std::string_view child = rest.substr(0, rest.find('\\'));
        if (names.empty() || !sameName(names.back(), child)) names.emplace_back(child);
    }
    return names;
}

void RegistryTree::erase(std::string_view key) {
    std::erase_if(keys_, [key](const auto& one) { return sameName(one.first, key) || isBelow(one.first, key); });
}

}  // namespace mcgate::process
