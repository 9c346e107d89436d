#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace mcgate::host {

/// How a command is used, on one line: its operands, the options that it needs, the others in brackets, as in
/// "mcgate send INPUT [--to URL]... [--report text|json|none]". Of an operand that excludes an option either is wanted,
/// as in "URL|--load FILE".
std::string synopsis(const CLI::App& command);

/// The options of a command without --help and --version, and its operands, each in the order of definition.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);
std::vector<const CLI::Option*> operandsOf(const CLI::App& command);

/// Whether a value follows; a flag has none, and its type no name.
bool takesValue(const CLI::Option& option);
/// "--to URL", or "--loop" of a flag.
std::string withValue(const CLI::Option& option);
/// What an option takes, as its type's name tells: one of a few words ("text|json|none"), or the name of a file
/// ("FILE") or of a directory ("DIR").
std::vector<std::string> choicesOf(const CLI::Option& option);
bool takesFile(const CLI::Option& option);
bool takesDirectory(const CLI::Option& option);

/// An example of a command's use, for the end of its help.
struct Example {
    const char* what;
    const char* line;
};
void addExamples(CLI::App& command, const std::vector<Example>& examples);

/// Help with the synopsis as usage, of each option no more than its value's name and its text, and of a command the
/// options of all commands, too.
class HelpFormatter final : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* command, std::string name) const override;
    std::string make_option_name(const CLI::Option* option, bool isOperand) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_subcommands(const CLI::App* command, CLI::AppFormatMode mode) const override;
};

}  // namespace mcgate::host
