// The program `mcgate-soak`: both filters for minutes or weeks on a private network whose links are pulled and restored
// at random. Exit status 0 when the soak was clean, 1 when it was not, 2 for wrong use, 77 where no private network can
// be made.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <random>

#include "cli/stop_signal.h"
#include "soak/soak.h"
#include "support/private_network.h"
#include "support/registered_module.h"

namespace {

constexpr int kNotClean = 1;
constexpr int kWrongUse = 2;
constexpr int kSkipped = 77;

std::uint64_t freshSeed() { return std::random_device{}(); }

// One second in, one number is kept from the record: if that is not told, no loss is.
soak::SoakOptions selfTest() {
    soak::SoakOptions options;
    options.length = std::chrono::milliseconds(10'000);
    options.faults = false;
    options.overlooked = 1500;
    return options;
}

int run(const soak::SoakOptions& options) {
    std::printf("seed %llu, %.1f minutes\n", static_cast<unsigned long long>(options.seed),
                static_cast<double>(options.length.count()) / 60'000);
    std::fflush(stdout);
    soak::Soak soak(options);
    const soak::SoakReport report = soak.run();
    report.print();
    return report.failures().empty() ? 0 : kNotClean;
}

}  // namespace

int main(int argc, char** argv) {
    if (!test::enterPrivateNetwork(argv)) {
        std::fprintf(stderr, "mcgate-soak: skipped, as this system lets no private network be made\n");
        return kSkipped;
    }
    double minutes = 10;
    std::uint64_t seed = freshSeed();
    bool checkItself = false;
    CLI::App app("Runs sender and receiver on a private network under random faults");
    app.add_option("--minutes", minutes, "how long")->check(CLI::Range(0.05, 40'000.0));
    app.add_option("--seed", seed, "of the faults; a random one is drawn without it");
    app.add_flag("--self-test", checkItself, "a few seconds with a loss that nothing explains: ends with status 1");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        return app.exit(problem) == 0 ? 0 : kWrongUse;
    }
    mcgate::host::watchStopSignals();
    soak::SoakOptions options;
    options.length = std::chrono::milliseconds(static_cast<std::int64_t>(minutes * 60'000));
    if (checkItself) options = selfTest();
    options.seed = seed;
    try {
        test::RegisteredModule::once();
        return run(options);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "mcgate-soak: %s\n", problem.what());
        return kNotClean;
    }
}
