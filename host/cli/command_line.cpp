#include "cli/command_line.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>
#include <string_view>

#include "cli/arguments.h"
#include "cli/help.h"
#include "cli/registry_commands.h"
#include "cli/url.h"
#include "io/standard_output.h"

namespace mcgate::host {

namespace {

using Run = int (*)(const Arguments& given);

Run runOf(const std::string& command) {
    static const std::map<std::string, Run> kRuns{
        {"send", [](const Arguments& given) { return runSend(given.send); }},
        {"receive", [](const Arguments& given) { return runReceive(given.receive); }},
        {"relay", [](const Arguments& given) { return runRelay(given.relay); }},
        {"run", [](const Arguments& given) { return runRun(given.run); }},
        {"generate", [](const Arguments& given) { return runGenerate(given.generate); }},
        {"show", [](const Arguments& given) { return runShow(given.show); }},
        {"check", [](const Arguments& given) { return runCheck(given.check); }},
        {"console", [](const Arguments& given) { return runConsole(given.console); }},
        {"interfaces", [](const Arguments& given) { return runInterfaces(given.interfaces); }},
        {"register", [](const Arguments& given) { return runRegister(given.module); }},
        {"unregister", [](const Arguments& given) { return runUnregister(given.module); }},
        {"classes", [](const Arguments&) { return runClasses(); }},
    };
    return kRuns.at(command);
}

std::string rightForm(const CLI::App& app) {
    if (const auto named = app.get_subcommands(); !named.empty()) return synopsis(*named.front());
    std::string names;
    for (const CLI::App* command : app.get_subcommands({})) {
        names += (names.empty() ? "" : ", ") + command->get_name();
    }
    const auto last = names.rfind(", ");
    return "one of " + names.substr(0, last) + " and " + names.substr(last + 2) + "; mcgate --help tells more";
}

// As a shell takes it.
std::string quoted(const std::string& word) {
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+=:,./@%[]";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
    std::string result = "'";
    for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

[[noreturn]] void refuse(const CLI::ParseError& problem, const CLI::App& app) {
    std::string text = problem.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    if (const auto unknown = app.remaining(); app.get_subcommands().empty() && !unknown.empty()) {
        text = "'" + unknown.front() + "' is " + (unknown.front().starts_with('-') ? "no option" : "no command");
    }
    const std::string right = "; right would be ";  // which an option's own check may have told
    throw UsageError(text.find(right) != std::string::npos ? text : text + right + rightForm(app));
}

}  // namespace

Task parseCommandLine(int argc, char** argv) {
    const auto arguments = std::make_shared<Arguments>();
    const auto app = makeCommandLine(*arguments);
    try {
        app->parse(argc, argv);
    } catch (const CLI::Success& answer) {
        std::ostringstream text;
        app->exit(answer, text, text);
        return [text = text.str()] {
            writeStandardOutput(text);
            return 0;
        };
    } catch (const CLI::ParseError& problem) {
        refuse(problem, *app);
    }
    std::string typed = "mcgate";
    for (int i = 1; i < argc; ++i) typed += " " + quoted(argv[i]);
    arguments->send.report.command = arguments->receive.report.command = typed;
    arguments->relay.report.command = arguments->run.report.command = typed;
    useRegistry(arguments->registry);
    return [arguments, run = runOf(app->get_subcommands().front()->get_name())] { return run(*arguments); };
}

int exitStatus(const std::string& failure) {
    if (!failure.empty()) std::fprintf(stderr, "mcgate: %s\n", failure.c_str());
    return failure.empty() ? 0 : 1;
}

}  // namespace mcgate::host
