#include "cli/help.h"

#include <algorithm>

namespace mcgate::host {

namespace {

std::string bracketed(const CLI::Option& option) {
    const bool again = option.get_expected_max() > 1;
    const std::string text = withValue(option);
    if (option.get_required()) return again ? text + " [" + text + "]..." : text;
    return "[" + text + "]" + (again ? "..." : "");
}

std::string operand(const CLI::Option& option) {
    if (option.get_required() || option.get_excludes().empty()) return bracketed(option);
    std::string text = withValue(option);
    for (const CLI::Option* other : option.get_excludes()) text += "|" + withValue(*other);
    return text;
}

// Stands behind the operand that it may replace.
bool replacesOperand(const CLI::Option& option) {
    const auto& others = option.get_excludes();
    return std::any_of(others.begin(), others.end(), [](const CLI::Option* other) { return other->get_positional(); });
}

}  // namespace

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
    return command.get_options([&command](const CLI::Option* option) {
        return option->nonpositional() && option != command.get_help_ptr() && option != command.get_version_ptr();
    });
}

std::vector<const CLI::Option*> operandsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

bool takesValue(const CLI::Option& option) { return !option.get_type_name().empty(); }

std::string withValue(const CLI::Option& option) {
    const std::string name = option.get_name(option.get_positional());
    return option.get_positional() || !takesValue(option) ? name : name + " " + option.get_type_name();
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    return type.find('|') == std::string::npos ? std::vector<std::string>() : CLI::detail::split(type, '|');
}

bool takesFile(const CLI::Option& option) { return option.get_type_name() == "FILE"; }

bool takesDirectory(const CLI::Option& option) { return option.get_type_name() == "DIR"; }

std::string synopsis(const CLI::App& command) {
    const bool whole = command.get_parent() == nullptr;
    std::string text = whole ? command.get_name() : command.get_parent()->get_name() + " " + command.get_name();
    for (const CLI::Option* option : operandsOf(command)) text += " " + operand(*option);
    const auto options = optionsOf(command);
    for (const bool required : {true, false}) {
        for (const CLI::Option* option : options) {
            if (option->get_required() == required && !replacesOperand(*option)) text += " " + bracketed(*option);
        }
    }
    return whole ? text + " COMMAND [ARGUMENT]..." : text;
}

void addExamples(CLI::App& command, const std::vector<Example>& examples) {
    std::string text = "Examples:";
    for (const auto& [what, line] : examples) text += std::string("\n  ") + what + ":\n    " + line;
    command.footer(text);
}

std::string HelpFormatter::make_usage(const CLI::App* command, std::string) const {
    return "Usage: " + synopsis(*command) + "\n";
}

std::string HelpFormatter::make_option_name(const CLI::Option* option, bool isOperand) const {
    return option->get_name(isOperand, !isOperand);
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    return option->get_positional() || !takesValue(*option) ? "" : " " + option->get_type_name();
}

// Their place is empty in a command, behind its own options.
std::string HelpFormatter::make_subcommands(const CLI::App* command, CLI::AppFormatMode mode) const {
    if (command->get_parent() == nullptr) return Formatter::make_subcommands(command, mode);
    return make_group("Options of all commands", false, optionsOf(*command->get_parent()));
}

}  // namespace mcgate::host
