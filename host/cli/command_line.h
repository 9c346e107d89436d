#pragma once

#include <functional>

namespace mcgate::host {

/// What the command line asks for: gives the exit status of the command once it ran.
using Task = std::function<int()>;

/// Reads the command line. A request for help or for the version is answered at once, and a task that does nothing
/// more. Throws UsageError for anything that is not understood.
Task parseCommandLine(int argc, char** argv);

}  // namespace mcgate::host
