// The command `mcgate`: exit status 2 for wrong use, 1 for a failure while running, 0 otherwise.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>

#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "cli/url.h"
#include "platform/process/process.h"

namespace {

using namespace mcgate::host;

constexpr int kFailure = 1;
constexpr int kWrongUse = 2;

void addReport(CLI::App& command, ReportForm& form) {
    static const std::map<std::string, ReportForm> forms{
        {"text", ReportForm::Text}, {"json", ReportForm::Json}, {"none", ReportForm::None}};
    command.add_option("--report", form, "text, json or none, a line a second on standard error")
        ->transform(CLI::CheckedTransformer(forms).description("").name(""));
}

void addSend(CLI::App& app, SendOptions& options) {
    auto& command = *app.add_subcommand("send", "Send a transport stream at its own pace");
    command.add_option("INPUT", options.input, "file, or - for standard input")->required();
    command.add_option("--to", options.destinations, "udp://ADDRESS:PORT[?local=ADDRESS]; may be repeated")
        ->required()
        ->take_all()
        ->allow_extra_args(false);
    command.add_option("--offset", options.offsetMs, "hold-back in milliseconds");
    command.add_flag("--no-pacing", options.noPacing, "send as fast as the input comes");
    command.add_flag("--loop", options.loop, "begin again at the end of the file");
    addReport(command, options.report);
}

void addReceive(CLI::App& app, ReceiveOptions& options) {
    auto& command = *app.add_subcommand("receive", "Receive a transport stream");
    command.add_option("URL", options.url, "udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]")->required();
    command.add_option("--out", options.out, "file, or - for standard output");
    command.add_option("--timeout", options.timeoutMs, "milliseconds after which silence is reported")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--duration", options.durationSeconds, "end after this many seconds")
        ->check(CLI::PositiveNumber);
    command.add_option("--idle-exit", options.idleExitSeconds, "end after this many seconds without data")
        ->check(CLI::PositiveNumber);
    addReport(command, options.report);
}

void addGenerate(CLI::App& app, GenerateOptions& options) {
    auto& command = *app.add_subcommand("generate", "Make a transport stream of constant rate");
    command.add_option("--rate", options.rate, "bits per second")
        ->required()
        ->check(CLI::Range(100'000ULL, 2'000'000'000ULL));
    command.add_option("--duration", options.seconds, "seconds")->required()->check(CLI::Range(0.1, 86'400.0));
    command.add_option("--seed", options.seed, "of the payload");
    command.add_option("--out", options.out, "file, or - for standard output")->required();
}

}  // namespace

int main(int argc, char** argv) {
    SendOptions send;
    ReceiveOptions receive;
    GenerateOptions generate;
    CLI::App app("Carries transport streams over UDP and multicast");
    app.require_subcommand(1);
    addSend(app, send);
    addReceive(app, receive);
    addGenerate(app, generate);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        return app.exit(problem) == 0 ? 0 : kWrongUse;
    }
    watchStopSignals();
    // The filters are given the command's log; what they write before that is no line for a reader of reports.
    mcgate::process::setDebugHook([](void*, const char*) {}, nullptr);
    try {
        if (app.got_subcommand("send")) return runSend(send);
        if (app.got_subcommand("receive")) return runReceive(receive);
        return runGenerate(generate);
    } catch (const UsageError& problem) {
        std::fprintf(stderr, "mcgate: %s\n", problem.what());
        return kWrongUse;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "mcgate: %s\n", problem.what());
        return kFailure;
    }
}
