#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace mcgate::host {

/// The page mcgate(1), in the language of man(7).
std::string manPage(const CLI::App& app);

}  // namespace mcgate::host
