#include "cli/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <memory>

#include "cli/registry_commands.h"
#include "cli/url.h"

namespace mcgate::host {

namespace {

constexpr const char* kForm =
    "one of send, receive, generate, register, unregister and classes; mcgate --help tells more";
constexpr const char* kSendForm =
    "mcgate send INPUT --to URL [--to URL]... [--offset MS] [--no-pacing] [--loop] [--report text|json|none]";
constexpr const char* kReceiveForm =
    "mcgate receive URL [--out FILE] [--timeout MS] [--duration SECONDS] [--idle-exit SECONDS] "
    "[--report text|json|none]";
constexpr const char* kGenerateForm = "mcgate generate --rate BITS --duration SECONDS [--seed N] --out FILE";
constexpr const char* kRegisterForm = "mcgate register [MODULE], mcgate unregister [MODULE] or mcgate classes";

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

CLI::Validator milliseconds(std::int64_t least) { return between(least, std::int64_t{3'600'000}, "milliseconds"); }

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

CLI::App& addSend(CLI::App& app, SendOptions& options) {
    auto& command = *app.add_subcommand("send", "Send a transport stream at its own pace");
    command.add_option("INPUT", options.input, "file, or - for standard input")->required();
    command.add_option("--to", options.destinations, "udp://ADDRESS:PORT[?local=ADDRESS]; may be repeated")
        ->required()
        ->take_all()
        ->allow_extra_args(false);
    command.add_option("--offset", options.offsetMs, "hold-back in milliseconds")->check(milliseconds(-3'600'000));
    command.add_flag("--no-pacing", options.noPacing, "send as fast as the input comes");
    command.add_flag("--loop", options.loop, "begin again at the end of the file");
    addReport(command, options.report);
    return command;
}

CLI::App& addReceive(CLI::App& app, ReceiveOptions& options) {
    auto& command = *app.add_subcommand("receive", "Receive a transport stream");
    command.add_option("URL", options.url, "udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]")->required();
    command.add_option("--out", options.out, "file, or - for standard output");
    command.add_option("--timeout", options.timeoutMs, "milliseconds after which silence is reported")
        ->check(milliseconds(0));
    command.add_option("--duration", options.durationSeconds, "end after this many seconds")->check(seconds(0.01));
    command.add_option("--idle-exit", options.idleExitSeconds, "end after this many seconds without data")
        ->check(seconds(0.01));
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

CLI::App& addModuleCommand(CLI::App& app, const char* name, const char* what, std::string& module) {
    auto& command = *app.add_subcommand(name, what);
    command.add_option("MODULE", module, "a module; the one beside the command at first");
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
        GenerateOptions generate;
        std::string module;
        std::string registry;
    };
    const auto options = std::make_shared<Options>();
    CLI::App app("Carries transport streams over UDP and multicast");
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--registry", options->registry, "the file of registered modules")
        ->envname("MCGATE_REGISTRY")
        ->type_name("FILE");
    const CLI::App& send = addSend(app, options->send);
    const CLI::App& receive = addReceive(app, options->receive);
    const CLI::App& generate = addGenerate(app, options->generate);
    const CLI::App& registering =
        addModuleCommand(app, "register", "Register a module for all users of this registry", options->module);
    const CLI::App& unregistering =
        addModuleCommand(app, "unregister", "Take a module's classes out of the registry", options->module);
    const CLI::App& classes = *app.add_subcommand("classes", "Tell what is registered");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        app.exit(help);
        return [] { return 0; };
    } catch (const CLI::ParseError& problem) {
        refuse(problem, send.parsed()                                                        ? kSendForm
                        : receive.parsed()                                                   ? kReceiveForm
                        : generate.parsed()                                                  ? kGenerateForm
                        : registering.parsed() || unregistering.parsed() || classes.parsed() ? kRegisterForm
                                                                                             : kForm);
    }
    useRegistry(options->registry);
    if (registering.parsed()) return [options] { return runRegister(options->module); };
    if (unregistering.parsed()) return [options] { return runUnregister(options->module); };
    if (classes.parsed()) return runClasses;
    if (send.parsed()) return [options] { return runSend(options->send); };
    if (receive.parsed()) return [options] { return runReceive(options->receive); };
    return [options] { return runGenerate(options->generate); };
}

}  // namespace mcgate::host
