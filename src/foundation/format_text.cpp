#include "foundation/format_text.h"

#include <cstdarg>
#include <cstdio>

namespace mcgate::foundation {

std::string FormatText(const char* format, ...) {
    if (format == nullptr) return {};
    std::string text(256, '\0');
    for (;;) {
        std::va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
        va_end(arguments);
        if (length < 0) return {};
        if (static_cast<std::size_t>(length) < text.size()) {
            text.resize(static_cast<std::size_t>(length));
            return text;
        }
        text.resize(2 * text.size());
    }
}

}  // namespace mcgate::foundation
