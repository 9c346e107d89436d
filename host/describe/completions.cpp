#include "describe/completions.h"

#include <algorithm>
#include <sstream>

#include "cli/help.h"

namespace mcgate::host {

namespace {

using Options = std::vector<const CLI::Option*>;

/// The command's own options, and those of all commands.
Options optionsWithin(const CLI::App& app, const CLI::App& command) {
    Options options = optionsOf(command);
    for (const CLI::Option* option : optionsOf(app)) options.push_back(option);
    options.push_back(command.get_help_ptr());
    return options;
}

std::string longName(const CLI::Option& option) { return "--" + option.get_lnames().front(); }

std::string joined(const std::vector<std::string>& words, const std::string& between) {
    return CLI::detail::join(words, between);
}

std::string namesOf(const Options& options) {
    std::vector<std::string> names;
    for (const CLI::Option* option : options) names.push_back(longName(*option));
    return joined(names, " ");
}

bool operandIsFile(const CLI::App& command) {
    const Options operands = operandsOf(command);
    return std::any_of(operands.begin(), operands.end(), [](const CLI::Option* one) { return takesFile(*one); });
}

std::string escaped(const std::string& text, const std::string& letters, const std::string& escape) {
    std::string result;
    for (const char letter : text)
        result += letters.find(letter) != std::string::npos ? escape + letter : std::string(1, letter);
    return result;
}

/// Within single quotes, which all three shells end alike to escape one.
std::string inQuotes(const std::string& text) { return "'" + CLI::detail::find_and_replace(text, "'", "'\\''") + "'"; }

void writeBashValues(std::ostream& script, const CLI::App& app, const CLI::App& command) {
    for (const CLI::Option* option : optionsWithin(app, command)) {
        if (!takesValue(*option)) continue;
        script << "        '" << command.get_name() << " " << longName(*option) << "') ";
        if (const auto choices = choicesOf(*option); !choices.empty()) {
            script << "words='" << joined(choices, " ") << "' ;;\n";
        } else {
            script << (takesFile(*option)        ? "files=-f ;;\n"
                       : takesDirectory(*option) ? "files=-d ;;\n"
                                                 : "return ;;\n");
        }
    }
}

}  // namespace

std::string bashCompletion(const CLI::App& app) {
    std::ostringstream script;
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    script << "# Completion of mcgate in bash.\n_mcgate() {\n"
              "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' words='' "
              "files=''\n"
              "    local index\n"
              "    COMPREPLY=()\n"
              "    [[ $word == '=' ]] && word=''\n"  // a word of its own to bash, as in --report=json
              "    [[ $before == '=' ]] && before=${COMP_WORDS[COMP_CWORD - 2]}\n"
              "    for ((index = 1; index < COMP_CWORD; ++index)); do\n"
              "        case ${COMP_WORDS[index]} in\n"
              "            "
           << joined(names, " | ")
           << ") command=${COMP_WORDS[index]} && break ;;\n"
              "        esac\n    done\n"
              "    case \"$command $before\" in\n";
    for (const CLI::Option* option : optionsOf(app)) script << "        ' " << longName(*option) << "') files=-f ;;\n";
    for (const CLI::App* command : app.get_subcommands({})) writeBashValues(script, app, *command);
    script << "        ' '*) words='" << joined(names, " ") << " " << namesOf(optionsOf(app))
           << " --help --version' ;;\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        script << "        '" << command->get_name() << " '*) words='" << namesOf(optionsWithin(app, *command)) << "'"
               << (operandIsFile(*command) ? " files=-f" : "") << " ;;\n";
    }
    script << "    esac\n"
              "    [[ $word == -* ]] && files=''\n"
              "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
              "    if [[ $files ]]; then\n"
              "        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen $files -- \"$word\")\n"
              "        compopt -o filenames 2>/dev/null\n"
              "    fi\n}\ncomplete -F _mcgate mcgate\n";
    return script.str();
}

namespace {

std::string zshText(const std::string& text) { return escaped(text, "[]:\\", "\\"); }

std::string zshAction(const CLI::Option& option) {
    const auto choices = choicesOf(option);
    if (!choices.empty()) return "(" + joined(choices, " ") + ")";
    return takesFile(option) ? "_files" : takesDirectory(option) ? "_files -/" : " ";
}

std::string zshOption(const CLI::Option& option) {
    std::string text = (option.get_expected_max() > 1 ? "*" : "") + longName(option);
    if (takesValue(option)) text += "=";
    text += "[" + zshText(option.get_description()) + "]";
    if (takesValue(option)) text += ":" + zshText(option.get_type_name()) + ":" + zshAction(option);
    return inQuotes(text);
}

}  // namespace

std::string zshCompletion(const CLI::App& app) {
    std::ostringstream script;
    script
        << "#compdef mcgate\n# Completion of mcgate in zsh.\n_mcgate() {\n    local state\n    local -a commands=(\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        script << "        " << inQuotes(command->get_name() + ":" + zshText(command->get_description())) << "\n";
    }
    script << "    )\n    _arguments -C ";
    for (const CLI::Option* option : optionsOf(app)) script << zshOption(*option) << " ";
    script << zshOption(*app.get_help_ptr()) << " " << zshOption(*app.get_version_ptr())
           << " '1: :->command' '*:: :->rest'\n    case $state in\n"
              "        command) _describe command commands ;;\n        rest) case $words[1] in\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        script << "            " << command->get_name() << ") _arguments";
        for (const CLI::Option* option : optionsWithin(app, *command)) script << " " << zshOption(*option);
        for (const CLI::Option* operand : operandsOf(*command)) {
            script << " " << inQuotes("1:" + operand->get_name(true) + ":" + zshAction(*operand));
        }
        script << " ;;\n";
    }
    script << "        esac ;;\n    esac\n}\nif [[ $funcstack[1] == _mcgate ]]; then _mcgate \"$@\"; else compdef "
              "_mcgate mcgate; fi\n";
    return script.str();
}

namespace {

void writeFishOption(std::ostream& script, const std::string& condition, const CLI::Option& option) {
    script << "complete -c mcgate -n " << inQuotes(condition) << " -l " << option.get_lnames().front();
    const auto choices = choicesOf(option);
    if (!choices.empty()) {
        script << " -x -a " << inQuotes(joined(choices, " "));
    } else if (takesValue(option)) {
        script << (takesFile(option)        ? " -r -F"
                   : takesDirectory(option) ? " -x -a '(__fish_complete_directories)'"
                                            : " -x");
    }
    script << " -d " << inQuotes(option.get_description()) << "\n";
}

}  // namespace

std::string fishCompletion(const CLI::App& app) {
    std::ostringstream script;
    script << "# Completion of mcgate in fish.\ncomplete -c mcgate -f\n";
    for (const CLI::Option* option : optionsOf(app)) writeFishOption(script, "true", *option);
    writeFishOption(script, "true", *app.get_help_ptr());
    writeFishOption(script, "__fish_use_subcommand", *app.get_version_ptr());
    for (const CLI::App* command : app.get_subcommands({})) {
        script << "complete -c mcgate -n __fish_use_subcommand -a " << command->get_name() << " -d "
               << inQuotes(command->get_description()) << "\n";
    }
    for (const CLI::App* command : app.get_subcommands({})) {
        const std::string within = "__fish_seen_subcommand_from " + command->get_name();
        if (operandIsFile(*command)) script << "complete -c mcgate -n " << inQuotes(within) << " -F\n";
        for (const CLI::Option* option : optionsOf(*command)) writeFishOption(script, within, *option);
    }
    return script.str();
}

}  // namespace mcgate::host
