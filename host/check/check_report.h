#pragma once

#include <string>

#include "check/checkup.h"

namespace mcgate::host {

/// Lines for a reader, the last one a summary.
std::string checkText(const Road& road, const Checkup& checkup);
/// One JSON object in one line.
std::string checkJson(const Road& road, const Checkup& checkup);

}  // namespace mcgate::host
