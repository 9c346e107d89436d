#pragma once

#include <string>

#include "check/finding.h"
#include "check/road.h"
#include "platform/native_thread.h"

namespace mcgate::host {

/// "reports": may a membership be told to the network by hand? `program`: the path of this one.
Finding reportsFinding(bool allowed, const std::string& program);
/// The priority that the filter's threads ask for, see NativeThread::setPriority.
int priorityWanted(Road::Direction direction);
/// "priority": do the filter's threads get what they ask for?
Finding priorityFinding(Road::Direction direction, platform::PriorityClass got, const std::string& program);

}  // namespace mcgate::host
