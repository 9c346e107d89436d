#pragma once

#include <functional>

#include "cli/commands.h"

namespace mcgate::host {

/// What the command line asks for: gives the exit status of the command once it ran.
using Task = std::function<int()>;

/// Reads the command line. A request for help is a task that does nothing more. Throws UsageError for anything that is
/// not understood.
Task parseArguments(int argc, char** argv);

}  // namespace mcgate::host
