#pragma once
// 128-bit identifiers of classes, interfaces and media types.

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

struct GUID {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;
    std::array<std::uint8_t, 8> Data4{};

    friend constexpr bool operator==(const GUID&, const GUID&) = default;
};

inline constexpr GUID GUID_NULL{};

namespace mcgate::platform {

/// Makes a GUID of its text form with braces, "{75A24BA6-F322-457C-9B20-DFE6FB930FE5}"; used for constants, where a bad
/// text fails to compile. At run time a bad text throws std::invalid_argument.
constexpr GUID guid(std::string_view text) {
    constexpr std::string_view shape = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
    std::array<std::uint8_t, 32> digits{};
    std::size_t count = 0;
    if (text.size() != shape.size()) throw std::invalid_argument("a GUID text has 38 characters");
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const char c = text[i];
        if (shape[i] != 'x') {
            if (c != shape[i]) throw std::invalid_argument("a GUID text has braces and dashes at fixed places");
            continue;
        }
        int value = -1;
        if (c >= '0' && c <= '9') value = c - '0';
        if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
        if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
        if (value < 0) throw std::invalid_argument("a GUID text has hexadecimal digits");
        digits[count++] = static_cast<std::uint8_t>(value);
    }
    const auto number = [&digits](std::size_t first, std::size_t length) {
        std::uint64_t value = 0;
        for (std::size_t i = first; i < first + length; ++i) value = value * 16 + digits[i];
        return value;
    };
    GUID result;
    result.Data1 = static_cast<std::uint32_t>(number(0, 8));
    result.Data2 = static_cast<std::uint16_t>(number(8, 4));
    result.Data3 = static_cast<std::uint16_t>(number(12, 4));
    for (std::size_t i = 0; i < 8; ++i) result.Data4[i] = static_cast<std::uint8_t>(number(16 + 2 * i, 2));
    return result;
}

/// The text form with braces and upper-case digits.
std::string guidText(const GUID& value);

}  // namespace mcgate::platform
