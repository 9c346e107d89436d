#include "foundation/com_exception.h"

#include "foundation/format_text.h"
#include "foundation/status.h"

const char* COMException::what() const noexcept {
    try {
        BuildMessage();
        return fullText.c_str();
    } catch (...) {
        return "COM Error";  // no memory for the text
    }
}

const char* COMException::BuildMessage() const {
    const char* known = findErrorText(code);
    errorText = known != nullptr ? known : GetStatusText(code);
    fullText = mcgate::foundation::FormatText("%s%x: %s", known != nullptr ? "Quorvel Error " : "COM Error ",
                                              static_cast<unsigned>(code), errorText.c_str());
    return errorText.c_str();
}
