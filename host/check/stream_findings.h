#pragma once

#include <string>

#include "check/finding.h"
#include "check/heard.h"
#include "check/road.h"

namespace mcgate::host {

/// "stream": did anything come, and how much?
Finding streamFinding(const Road& road, const Heard& heard);
/// "payload": is what came a transport stream, in datagrams that the receiver takes? Only where something came.
Finding payloadFinding(const Heard& heard);

}  // namespace mcgate::host
