#include "platform/text.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::size_t kPrefix = sizeof(std::uint64_t);  // keeps the text behind the length aligned

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void appendNarrow(std::string& out, char32_t point) {
    const auto tail = [&out](char32_t bits) { out += static_cast<char>(0x80 | (bits & 0x3F)); };
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0 | point >> 6);
        tail(point);
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0 | point >> 12);
        tail(point >> 6);
        tail(point);
    } else {
        out += static_cast<char>(0xF0 | point >> 18);
        tail(point >> 12);
        tail(point >> 6);
        tail(point);
    }
}

// One code point from `text` at `at`, which moves behind it; U+FFFD and one byte for what is malformed.
char32_t takePoint(std::string_view text, std::size_t& at) {
    const auto first = static_cast<unsigned char>(text[at++]);
    if (first < 0x80) return first;
    const std::size_t more = first >= 0xF0 && first < 0xF5   ? 3
                             : first >= 0xE0 && first < 0xF0 ? 2
                             : first >= 0xC2 && first < 0xE0 ? 1
                                                             : 0;
    if (more == 0 || at + more > text.size()) return kReplacement;
    char32_t point = first & (0x3FU >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80) return kReplacement;
        point = point << 6 | (next & 0x3FU);
    }
    constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    if (point < smallest[more] || point > 0x10FFFF || isHighSurrogate(point) || isLowSurrogate(point)) {
        return kReplacement;
    }
    at += more;
    return point;
}

}  // namespace

BSTR SysAllocString(const WCHAR* text) noexcept {
    if (text == nullptr) return nullptr;
    const std::uint64_t length = std::char_traits<WCHAR>::length(text);
    auto* block = static_cast<std::uint8_t*>(std::malloc(kPrefix + (length + 1) * sizeof(WCHAR)));
    if (block == nullptr) return nullptr;
    std::memcpy(block, &length, kPrefix);
    std::memcpy(block + kPrefix, text, (length + 1) * sizeof(WCHAR));
    return reinterpret_cast<BSTR>(block + kPrefix);
}

void SysFreeString(BSTR text) noexcept {
    if (text != nullptr) std::free(reinterpret_cast<std::uint8_t*>(text) - kPrefix);
}

std::size_t SysStringLen(BSTR text) noexcept {
    if (text == nullptr) return 0;
    std::uint64_t length = 0;
    std::memcpy(&length, reinterpret_cast<std::uint8_t*>(text) - kPrefix, kPrefix);
    return length;
}

void* CoTaskMemAlloc(std::size_t bytes) noexcept { return std::malloc(bytes); }

void CoTaskMemFree(void* block) noexcept { std::free(block); }

namespace mcgate::platform {

std::string toNarrow(const WCHAR* text) {
    return text == nullptr ? std::string() : toNarrow(std::u16string_view(text));
}

std::string toNarrow(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (isHighSurrogate(point) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            point = 0x10000 + ((point - 0xD800) << 10) + (static_cast<char32_t>(text[++i]) - 0xDC00);
        } else if (isHighSurrogate(point) || isLowSurrogate(point)) {
            point = kReplacement;
        }
        appendNarrow(out, point);
    }
    return out;
}

std::u16string toWide(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const char32_t point = takePoint(text, at);
        if (point < 0x10000) {
            out += static_cast<char16_t>(point);
            continue;
        }
        out += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        out += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    }
    return out;
}

}  // namespace mcgate::platform
