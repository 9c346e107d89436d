#pragma once

#include <string>

namespace mcgate::host {

/// Bits a second in Mbit/s with three digits that count, such as "5.00 Mbit/s".
std::string bitRateText(double bitRate);

}  // namespace mcgate::host
