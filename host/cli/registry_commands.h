#pragma once

#include <string>

namespace mcgate::host {

/// Names the registry for this run: `file`, or when that is empty the one in the user's data directory.
void useRegistry(const std::string& file);

/// Each gives the exit status. They throw std::runtime_error with what failed, with which module and registry, and why.
/// An empty path means the module beside the command.
int runRegister(const std::string& module);
int runUnregister(const std::string& module);
/// Writes a line for each registered class to standard output: id, merit, name and module.
int runClasses();

}  // namespace mcgate::host
