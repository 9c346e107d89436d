#include "platform/guid.h"

#include <cstdio>

namespace mcgate::platform {

std::string guidText(const GUID& value) {
    char text[39];
    const auto& d = value.Data4;
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", value.Data1, value.Data2,
                  value.Data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
    return text;
}

}  // namespace mcgate::platform
