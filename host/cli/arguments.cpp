#include "cli/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <memory>
#include <vector>

#include "cli/registry_commands.h"
#include "cli/url.h"

namespace mcgate::host {

namespace {

constexpr const char* kForm =
    "one of send, receive, relay, generate, show, check, interfaces, register, unregister and classes; mcgate --help "
    "tells "
    "more";
constexpr const char* kSendForm =
    "mcgate send INPUT --to URL [--to URL]... [--load FILE] [--save FILE] [--offset MS] [--no-pacing] [--loop] "
    "[--report text|json|none]";
constexpr const char* kReceiveForm =
    "mcgate receive URL|--load FILE [--save FILE] [--out FILE] [--timeout MS] [--duration SECONDS] "
    "[--idle-exit SECONDS] [--report text|json|none]";
constexpr const char* kRelayForm =
    "mcgate relay URL --to URL [--to URL]... [--private] [--offset MS] [--no-pacing] [--timeout MS] "
    "[--duration SECONDS] [--report text|json|none]";
constexpr const char* kCheckForm = "mcgate check URL|--to URL [--seconds N] [--rate BITS] [--json]";
constexpr const char* kInterfacesForm = "mcgate interfaces [--json]";
constexpr const char* kGenerateForm = "mcgate generate --rate BITS --duration SECONDS [--seed N] --out FILE";
constexpr const char* kRegisterForm = "mcgate register [MODULE], mcgate unregister [MODULE] or mcgate classes";
constexpr const char* kShowForm = "mcgate show FILE";

// CLI11's own checks let "nan" and "inf" through, and say less.
template <class Number>
CLI::Validator between(Number least, Number most, const std::string& what) {
    return CLI::Validator(
        [=](std::string& text) -> std::string {
            Number value{};
            const char* const end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data(), end, value);
            const bool number = error == std::errc() && stop == end && std::isfinite(static_cast<double>(value));
            if (number && value >= least && value <= most) return {};
            return "'" + text + "' is no number of " + what + " from " + CLI::detail::to_string(least) + " to " +
                   CLI::detail::to_string(most);
        },
        "");
}

CLI::Validator seconds(double least) { return between(least, 31'536'000.0, "seconds"); }

CLI::Validator milliseconds(std::int64_t least, std::int64_t most = 3'600'000) {
    return between(least, most, "milliseconds");
}

void addReport(CLI::App& command, ReportForm& form) {
    static const std::map<std::string, ReportForm> kForms{
        {"text", ReportForm::Text}, {"json", ReportForm::Json}, {"none", ReportForm::None}};
    command.add_option_function<std::string>(
        "--report",
        [&form](const std::string& text) {
            const auto found = kForms.find(text);
            if (found == kForms.end()) throw CLI::ValidationError("--report", "'" + text + "' is no form of report");
            form = found->second;
        },
        "text, json or none, a line a second on standard error");
}

// A saved configuration is replaced in one step, which standard output can't be.
void addSaved(CLI::App& command, std::string& load, std::string& save) {
    const CLI::Validator isFile(
        [](std::string& text) {
            return text.empty() || text == "-" ? "'" + text + "' is no name of a file" : std::string();
        },
        "");
    command.add_option("--load", load, "file of saved configuration")->check(isFile);
    command.add_option("--save", save, "file to save the configuration in")->check(isFile);
}

/// Gives the option for destinations.
CLI::Option& addSender(CLI::App& command, SenderOptions& options, std::int64_t mostOffsetMs) {
    command.add_option("--offset", options.offsetMs, "hold-back in milliseconds")
        ->check(milliseconds(-3'600'000, mostOffsetMs));
    command.add_flag("--no-pacing", options.noPacing, "send as fast as the input comes");
    return *command.add_option("--to", options.destinations, "udp://ADDRESS:PORT[?local=ADDRESS]; may be repeated")
                ->take_all()
                ->allow_extra_args(false);
}

CLI::Option& addReceiver(CLI::App& command, ReceiverOptions& options, std::int64_t leastTimeoutMs) {
    command.add_option("--timeout", options.timeoutMs, "milliseconds after which silence is reported")
        ->check(milliseconds(leastTimeoutMs));
    return *command.add_option("URL", options.url, "udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]");
}

void addDuration(CLI::App& command, double& durationSeconds) {
    command.add_option("--duration", durationSeconds, "end after this many seconds")->check(seconds(0.01));
}

CLI::App& addSend(CLI::App& app, SendOptions& options) {
    auto& command = *app.add_subcommand("send", "Send a transport stream at its own pace");
    command.add_option("INPUT", options.input, "file, or - for standard input")->required();
    addSender(command, options, 3'600'000);
    addSaved(command, options.load, options.save);
    command.callback([&options] {
        if (options.destinations.empty() && options.load.empty()) throw CLI::RequiredError("--to or --load");
    });
    command.add_flag("--loop", options.loop, "begin again at the end of the file");
    addReport(command, options.report);
    return command;
}

CLI::App& addReceive(CLI::App& app, ReceiveOptions& options) {
    auto& command = *app.add_subcommand("receive", "Receive a transport stream");
    addReceiver(command, options, 0);
    addSaved(command, options.load, options.save);
    command.callback([&options] {
        if (options.url.empty() && options.load.empty()) throw CLI::RequiredError("URL or --load");
        if (!options.url.empty() && !options.load.empty()) throw CLI::ExcludesError("URL", "--load");
    });
    command.add_option("--out", options.out, "file, or - for standard output");
    addDuration(command, options.durationSeconds);
    command.add_option("--idle-exit", options.idleExitSeconds, "end after this many seconds without data")
        ->check(seconds(0.01));
    addReport(command, options.report);
    return command;
}

CLI::App& addRelay(CLI::App& app, RelayOptions& options) {
    auto& command = *app.add_subcommand("relay", "Receive a stream and send it on at its own pace");
    addReceiver(command, options, 1000).required();
    addSender(command, options, 10'000).required();
    command.add_flag("--private", options.privateStream, "the private time-stamped stream, which is never paced")
        ->excludes("--offset")
        ->excludes("--no-pacing");
    addDuration(command, options.durationSeconds);
    addReport(command, options.report);
    return command;
}

CLI::App& addGenerate(CLI::App& app, GenerateOptions& options) {
    auto& command = *app.add_subcommand("generate", "Make a transport stream of constant rate");
    command.add_option("--rate", options.rate, "bits per second")
        ->required()
        ->check(between(std::uint64_t{100'000}, std::uint64_t{2'000'000'000}, "bits per second"));
    command.add_option("--duration", options.seconds, "seconds")->required()->check(between(0.1, 86'400.0, "seconds"));
    command.add_option("--seed", options.seed, "of the payload");
    command.add_option("--out", options.out, "file, or - for standard output")->required();
    return command;
}

CLI::App& addCheck(CLI::App& app, CheckOptions& options) {
    auto& command = *app.add_subcommand("check", "Look whether a stream can be received, or sent");
    command.add_option("URL", options.url, "to receive: udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]");
    command.add_option("--to", options.to, "to send: udp://ADDRESS:PORT[?local=ADDRESS]");
    command.add_option("--seconds", options.seconds, "to listen, 3 at first")->check(between(0.1, 3600.0, "seconds"));
    command.add_option("--rate", options.rate, "of the stream, in bits per second; measured where it isn't given")
        ->check(between(std::uint64_t{1}, std::uint64_t{100'000'000'000}, "bits per second"));
    command.add_flag("--json", options.json, "one JSON object instead of text");
    return command;
}

CLI::App& addInterfaces(CLI::App& app, InterfacesOptions& options) {
    auto& command = *app.add_subcommand("interfaces", "List the network interfaces");
    command.add_flag("--json", options.json, "one JSON object instead of text");
    return command;
}

CLI::App& addModuleCommand(CLI::App& app, const char* name, const char* what, std::string& module) {
    auto& command = *app.add_subcommand(name, what);
    command.add_option("MODULE", module, "a module; the one beside the command at first");
    return command;
}

CLI::App& addShow(CLI::App& app, ShowOptions& options) {
    auto& command = *app.add_subcommand("show", "Tell what a saved configuration holds");
    command.add_option("FILE", options.file, "that --save wrote")->required();
    return command;
}

[[noreturn]] void refuse(const CLI::ParseError& problem, const char* form) {
    std::string text = problem.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    throw UsageError(text + "; right would be " + form);
}

}  // namespace

Task parseArguments(int argc, char** argv) {
    struct Options {
        SendOptions send;
        ReceiveOptions receive;
        RelayOptions relay;
        GenerateOptions generate;
        std::string module;
        std::string registry;
        ShowOptions show;
        CheckOptions check;
        InterfacesOptions interfaces;
    };
    const auto options = std::make_shared<Options>();
    CLI::App app("Carries transport streams over UDP and multicast");
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", "mcgate " MCGATE_VERSION);
    app.add_option("--registry", options->registry, "the file of registered modules")
        ->envname("MCGATE_REGISTRY")
        ->type_name("FILE");
    struct Command {
        const CLI::App* app;
        const char* form;
        Task task;
    };
    const std::vector<Command> commands{
        {&addSend(app, options->send), kSendForm, [options] { return runSend(options->send); }},
        {&addReceive(app, options->receive), kReceiveForm, [options] { return runReceive(options->receive); }},
        {&addRelay(app, options->relay), kRelayForm, [options] { return runRelay(options->relay); }},
        {&addGenerate(app, options->generate), kGenerateForm, [options] { return runGenerate(options->generate); }},
        {&addShow(app, options->show), kShowForm, [options] { return runShow(options->show); }},
        {&addCheck(app, options->check), kCheckForm, [options] { return runCheck(options->check); }},
        {&addInterfaces(app, options->interfaces), kInterfacesForm,
         [options] { return runInterfaces(options->interfaces); }},
        {&addModuleCommand(app, "register", "Register a module for all users of this registry", options->module),
         kRegisterForm, [options] { return runRegister(options->module); }},
        {&addModuleCommand(app, "unregister", "Take a module's classes out of the registry", options->module),
         kRegisterForm, [options] { return runUnregister(options->module); }},
        {app.add_subcommand("classes", "Tell what is registered"), kRegisterForm, runClasses},
    };
    const auto named = [&commands] {
        return std::find_if(commands.begin(), commands.end(), [](const Command& one) { return one.app->parsed(); });
    };
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        app.exit(help);
        return [] { return 0; };
    } catch (const CLI::ParseError& problem) {
        refuse(problem, named() != commands.end() ? named()->form : kForm);
    }
    useRegistry(options->registry);
    return named()->task;
}

}  // namespace mcgate::host
