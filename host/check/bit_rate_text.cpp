#include "check/bit_rate_text.h"

#include <cstdio>

namespace mcgate::host {

std::string bitRateText(double bitRate) {
    constexpr double kMega = 1e6;
    const double mega = bitRate / kMega;
    char text[64];
    std::snprintf(text, sizeof text, "%.*f Mbit/s", mega < 10 ? 2 : mega < 100 ? 1 : 0, mega);
    return text;
}

}  // namespace mcgate::host
