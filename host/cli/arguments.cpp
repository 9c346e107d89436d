#include "cli/arguments.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <type_traits>

#include "cli/help.h"
#include "http/listen_address.h"

namespace mcgate::host {

namespace {

/// What a number may be, as help and refusals tell it.
template <class Number>
struct Range {
    Number least;
    Number most;
    const char* unit = "";  ///< such as " of seconds"

    std::string text() const {
        if constexpr (std::is_floating_point_v<Number>) return fmt::format("{:.10g} to {:.10g}", least, most);
        return fmt::format("{} to {}", least, most);
    }
    // CLI11's own checks let "nan", "inf" and what lies beyond the range of a type through, and say less. What passes
    // is written anew, since a 0 in front would make it octal.
    CLI::Validator rule() const {
        return CLI::Validator(
            [range = *this](std::string& given) -> std::string {
                Number value{};
                const char* const end = given.data() + given.size();
                const auto [stop, error] = std::from_chars(given.data(), end, value);
                const bool number = error == std::errc() && stop == end && std::isfinite(static_cast<double>(value));
                if (!number || value < range.least || value > range.most) {
                    return "'" + given + "' is no number" + range.unit + " from " + range.text();
                }
                given = fmt::format("{}", value);
                return {};
            },
            "");
    }
};

using Count = Range<std::uint64_t>;
using Milliseconds = Range<std::int64_t>;
using Seconds = Range<double>;

constexpr std::int64_t kHourMs = 3'600'000;
constexpr Seconds kTime{0.01, 31'536'000, " of seconds"};

CLI::Validator listenAddress() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            try {
                parseListenAddress(text);
                return {};
            } catch (const UsageError& problem) {
                return problem.what();
            }
        },
        "");
}

void addReport(CLI::App& command, ReportOptions& options,
               const char* what = "a line or a JSON object a second on standard error") {
    static const std::map<std::string, ReportForm> kForms{
        {"text", ReportForm::Text}, {"json", ReportForm::Json}, {"none", ReportForm::None}};
    command
        .add_option_function<std::string>(
            "--report",
            [&form = options.form](const std::string& text) {
                const auto found = kForms.find(text);
                if (found == kForms.end())
                    throw CLI::ValidationError("--report", "'" + text + "' is no form of report");
                form = found->second;
            },
            std::string(what) + ", or faults alone; text at first")
        ->type_name("text|json|none");
    command
        .add_option("--metrics", options.metrics,
                    "serves metrics for Prometheus there; a port alone is one of 127.0.0.1")
        ->check(listenAddress())
        ->type_name("ADDRESS:PORT");
}

// A saved configuration is replaced in one step, which standard output can't be. Gives the option to load one.
CLI::Option& addSaved(CLI::App& command, std::string& load, std::string& save) {
    const CLI::Validator isFile(
        [](std::string& text) { return text == "-" ? "'-' is no name of a file" : std::string(); }, "");
    auto& loading = *command.add_option("--load", load, "takes the addresses from a file that --save wrote");
    command.add_option("--save", save, "saves the addresses in a file, and goes on")->check(isFile)->type_name("FILE");
    return *loading.check(isFile)->type_name("FILE");
}

/// Gives the option for destinations.
CLI::Option& addSender(CLI::App& command, SenderOptions& options, std::int64_t mostOffsetMs) {
    const Milliseconds offset{-kHourMs, mostOffsetMs, " of milliseconds"};
    auto& destinations = *command.add_option("--to", options.destinations,
                                             "where to send: udp://ADDRESS:PORT[?local=ADDRESS]; may be repeated");
    destinations.take_all()->allow_extra_args(false)->type_name("URL");
    command
        .add_option("--offset", options.offsetMs,
                    "hold-back in milliseconds, " + offset.text() + "; negative ones shorten it; " +
                        std::to_string(options.offsetMs) + " at first")
        ->transform(offset.rule())
        ->type_name("MS");
    command.add_flag("--no-pacing", options.noPacing, "sends as fast as the input comes");
    return destinations;
}

CLI::Option& addReceiver(CLI::App& command, ReceiverOptions& options, std::int64_t leastTimeoutMs) {
    const Milliseconds timeout{leastTimeoutMs, kHourMs, " of milliseconds"};
    command
        .add_option("--timeout", options.timeoutMs,
                    "milliseconds after which silence is reported, " + timeout.text() + "; 5000 at first")
        ->transform(timeout.rule())
        ->type_name("MS");
    auto& url =
        *command.add_option("URL", options.url, "what to receive: udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]");
    return *url.type_name("URL");
}

void addDuration(CLI::App& command, double& durationSeconds) {
    command.add_option("--duration", durationSeconds, "ends after this time, " + kTime.text())
        ->transform(kTime.rule())
        ->type_name("SECONDS");
}

void addSend(CLI::App& app, SendOptions& options) {
    auto& command = *app.add_subcommand("send", "Sends a transport stream at its own pace");
    command.add_option("INPUT", options.input, "a file, a named pipe, or - for standard input")
        ->required()
        ->type_name("FILE");
    addSender(command, options, kHourMs);
    addSaved(command, options.load, options.save);
    command.callback([&options] {
        if (options.destinations.empty() && options.load.empty()) throw CLI::RequiredError("--to or --load");
    });
    command.add_flag("--loop", options.loop, "begins again at the end of the file");
    addReport(command, options.report);
    addExamples(command, {{"a file to a group, by the interface with this address",
                           "mcgate send news.ts --to 'udp://239.1.1.1:5000?local=10.0.0.1'"},
                          {"what another program makes, to two hosts",
                           "encoder | mcgate send - --to udp://10.0.0.2:5000 --to 'udp://[fd00::2]:5000'"}});
}

void addReceive(CLI::App& app, ReceiveOptions& options) {
    auto& command = *app.add_subcommand("receive", "Receives a transport stream, and measures it");
    command.add_option("--out", options.out, "a file, a named pipe, or - for standard output; nothing is kept without")
        ->type_name("FILE");
    auto& url = addReceiver(command, options, 0);
    url.excludes(&addSaved(command, options.load, options.save));
    command.callback([&options] {
        if (options.url.empty() && options.load.empty()) throw CLI::RequiredError("URL or --load");
    });
    addDuration(command, options.durationSeconds);
    command
        .add_option("--idle-exit", options.idleExitSeconds, "ends when nothing has come for this time, " + kTime.text())
        ->transform(kTime.rule())
        ->type_name("SECONDS");
    addReport(command, options.report);
    addExamples(command, {{"a group into a file, by the interface with this address",
                           "mcgate receive 'udp://@239.1.1.1:5000?local=10.0.0.2' --out news.ts"},
                          {"only figures of what one source sends, for a minute",
                           "mcgate receive udp://10.0.0.1@232.1.1.1:5000 --duration 60 --report json"}});
}

void addRelay(CLI::App& app, RelayOptions& options) {
    auto& command = *app.add_subcommand("relay", "Receives a stream and sends it on at its own pace");
    addReceiver(command, options, 1000).required();
    addSender(command, options, 10'000).required();
    command.add_flag("--private", options.privateStream, "the private time-stamped stream, which is never paced")
        ->excludes("--offset")
        ->excludes("--no-pacing");
    addDuration(command, options.durationSeconds);
    addReport(command, options.report);
    addExamples(command, {{"from a group of one network to a host of another",
                           "mcgate relay 'udp://@239.1.1.1:5000?local=10.0.0.2' --to udp://192.168.7.4:5000"}});
}

void addRun(CLI::App& app, RunOptions& options) {
    auto& command = *app.add_subcommand("run", "Runs the senders, receivers and relays of a profile");
    command.add_option("PROFILE", options.profile, "the streams as JSON; read anew on SIGHUP")
        ->required()
        ->type_name("FILE");
    addReport(command, options.report,
              "a line every ten seconds, a table on a terminal, or JSON objects a second on standard error");
    addExamples(command, {{"the streams of a profile, until it is stopped", "mcgate run studio.json"}});
}

void addGenerate(CLI::App& app, GenerateOptions& options) {
    auto& command = *app.add_subcommand("generate", "Makes a transport stream of constant rate");
    const Count rate{100'000, 2'000'000'000, " of bits per second"};
    const Seconds duration{0.1, 86'400, " of seconds"};
    const Count seed{0, UINT64_MAX};
    command.add_option("--rate", options.rate, "bits per second, " + rate.text())
        ->required()
        ->transform(rate.rule())
        ->type_name("BITS");
    command.add_option("--duration", options.seconds, "how long it is, " + duration.text())
        ->required()
        ->transform(duration.rule())
        ->type_name("SECONDS");
    command
        .add_option("--seed", options.seed,
                    "of the payload, " + seed.text() + ": the same options give the same bytes; 1 at first")
        ->transform(seed.rule())
        ->type_name("N");
    command.add_option("--out", options.out, "a file, a named pipe, or - for standard output")
        ->required()
        ->type_name("FILE");
    addExamples(command, {{"a minute of 20 Mbit/s", "mcgate generate --rate 20000000 --duration 60 --out test.ts"}});
}

void addShow(CLI::App& app, ShowOptions& options) {
    auto& command = *app.add_subcommand("show", "Tells what a saved configuration holds");
    command.add_option("FILE", options.file, "what --save wrote")->required()->type_name("FILE");
    addExamples(command, {{"what a receiver was saved with", "mcgate show studio.conf"}});
}

void addCheck(CLI::App& app, CheckOptions& options) {
    auto& command =
        *app.add_subcommand("check", "Looks whether a stream can be received, or sent; ends with 1 if it can't");
    auto& url = *command.add_option("URL", options.url, "to receive: udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]");
    auto& to = *command.add_option("--to", options.to, "to send: udp://ADDRESS:PORT[?local=ADDRESS]");
    url.type_name("URL")->excludes(to.type_name("URL"));
    const Seconds listening{0.1, 3600, " of seconds"};
    const Count rate{1, 100'000'000'000, " of bits per second"};
    auto& seconds = *command.add_option(
        "--seconds", options.seconds, "how long to listen for what is received, " + listening.text() + "; 3 at first");
    seconds.transform(listening.rule())->type_name("N");
    auto& bits = *command.add_option(
        "--rate", options.rate,
        "bits per second that the stream to receive will have, " + rate.text() + "; measured where it isn't given");
    bits.transform(rate.rule())->type_name("BITS");
    command.add_flag("--json", options.json, "one JSON object instead of text");
    command.callback([&options, &seconds, &bits] {
        for (const CLI::Option* option : {&seconds, &bits}) {
            if (options.to.empty() || option->count() == 0) continue;
            throw CLI::ValidationError(option->get_name(),
                                       "it is for what is received; right would be --to URL without it");
        }
    });
    addExamples(command, {{"why nothing comes of a group", "mcgate check udp://@239.1.1.1:5000"},
                          {"whether the buffer would do for 20 Mbit/s",
                           "mcgate check 'udp://@239.1.1.1:5000?local=10.0.0.2' --rate 20000000"},
                          {"whether a stream can go out", "mcgate check --to 'udp://239.1.1.1:5000?local=10.0.0.1'"}});
}

void addConsole(CLI::App& app, ConsoleOptions& options) {
    auto& command = *app.add_subcommand("console", "Shows and controls several streams in the browser");
    command.add_option("PROFILE", options.profile, "a file of streams, which are started; none at first")
        ->type_name("FILE");
    command
        .add_option("--listen", options.listen,
                    "where browsers reach it; a port alone is one of 127.0.0.1, an address that other machines reach "
                    "demands --token-file; 127.0.0.1:8080 at first")
        ->check(listenAddress())
        ->type_name("ADDRESS:PORT");
    command.add_option("--token-file", options.tokenFile, "holds the access token that browsers are asked for")
        ->type_name("FILE");
    command.add_option("--files", options.files, "below it are the files of streams that browsers add; here at first")
        ->type_name("DIR");
    addExamples(command, {{"an empty console, at http://127.0.0.1:8080/", "mcgate console"},
                          {"the streams of a profile, for other machines, too",
                           "mcgate console studio.json --listen 10.0.0.1:8080 --token-file token"}});
}

void addInterfaces(CLI::App& app, InterfacesOptions& options) {
    auto& command = *app.add_subcommand("interfaces", "Lists the network interfaces");
    command.add_flag("--json", options.json, "one JSON object instead of text");
    addExamples(command, {{"the addresses that ?local=ADDRESS may name", "mcgate interfaces"}});
}

void addRegistryCommands(CLI::App& app, std::string& module) {
    auto& registering = *app.add_subcommand("register", "Registers a module in the registry");
    auto& unregistering = *app.add_subcommand("unregister", "Takes a module's classes out of the registry");
    for (CLI::App* command : {&registering, &unregistering}) {
        command->add_option("MODULE", module, "a module; the one beside the command at first")->type_name("FILE");
    }
    addExamples(registering, {{"for the user's own programs", "mcgate register"},
                              {"a module from elsewhere, in a registry of its own",
                               "mcgate register ./mcgate.AX --registry ./registry"}});
    addExamples(unregistering, {{"the opposite of mcgate register", "mcgate unregister"}});
    auto& classes = *app.add_subcommand("classes", "Tells which classes are registered, and with which module");
    addExamples(classes, {{"by what receive and send make their filters", "mcgate classes"}});
}

// An empty name is what a shell makes of a variable that isn't set: never what was meant.
void refuseEmptyNames(CLI::App& command) {
    const CLI::Validator isNamed(
        [](std::string& text) { return text.empty() ? "'' is no name of a file" : std::string(); }, "");
    for (CLI::Option* option : command.get_options()) {
        if (takesFile(*option) || takesDirectory(*option)) option->check(isNamed);
    }
}

}  // namespace

std::unique_ptr<CLI::App> makeCommandLine(Arguments& arguments) {
    auto app = std::make_unique<CLI::App>("Carries transport streams over UDP and multicast", "mcgate");
    app->formatter(std::make_shared<HelpFormatter>());
    app->require_subcommand(1);
    app->fallthrough();
    app->set_version_flag("--version", "mcgate " MCGATE_VERSION)->description("tells the version and ends");
    app->get_help_ptr()->description("tells this and ends");
    app->add_option("--registry", arguments.registry, "the file of registered modules, instead of the user's own")
        ->envname("MCGATE_REGISTRY")
        ->type_name("FILE");
    app->footer("mcgate COMMAND --help tells more of each, with examples.");
    addSend(*app, arguments.send);
    addReceive(*app, arguments.receive);
    addRelay(*app, arguments.relay);
    addRun(*app, arguments.run);
    addGenerate(*app, arguments.generate);
    addShow(*app, arguments.show);
    addCheck(*app, arguments.check);
    addConsole(*app, arguments.console);
    addInterfaces(*app, arguments.interfaces);
    addRegistryCommands(*app, arguments.module);
    refuseEmptyNames(*app);
    for (CLI::App* command : app->get_subcommands({})) refuseEmptyNames(*command);
    return app;
}

}  // namespace mcgate::host
