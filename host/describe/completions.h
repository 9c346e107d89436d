#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace mcgate::host {

/// Scripts by which a shell completes the command line: names of commands and options, the words among which an option
/// chooses, and files where a file is wanted.
std::string bashCompletion(const CLI::App& app);
std::string zshCompletion(const CLI::App& app);
std::string fishCompletion(const CLI::App& app);

}  // namespace mcgate::host
