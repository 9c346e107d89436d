#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/commands.h"

namespace mcgate::host {

/// What the options and operands of all commands fill.
struct Arguments {
    SendOptions send;
    ReceiveOptions receive;
    RelayOptions relay;
    RunOptions run;
    GenerateOptions generate;
    ShowOptions show;
    CheckOptions check;
    ConsoleOptions console;
    InterfacesOptions interfaces;
    std::string module;
    std::string registry;
};

/// The command line as a model, from which parsing, help, man page and completions are made. Parsing fills `arguments`,
/// which outlives it.
std::unique_ptr<CLI::App> makeCommandLine(Arguments& arguments);

}  // namespace mcgate::host
