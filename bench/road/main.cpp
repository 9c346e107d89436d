// Runs both filters beside raw loops and writes the ratios as a table.

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "command_runs.h"
#include "receiver_runs.h"
#include "sender_runs.h"
#include "support/private_network.h"
#include "support/registered_module.h"

namespace {

constexpr int kSkipped = 77;

std::string row(const bench::Comparison& one) {
    char text[400];
    std::snprintf(text, sizeof text, "| %s | %.2f | %.2f (%.2f to %.2f) | %.0f | %.0f | %.2f | %.2f |\n",
                  one.name.c_str(), one.wanted, one.ratio, one.lowest, one.highest, one.ours.rate(), one.raw.rate(),
                  one.ours.cpuMicroseconds(), one.raw.cpuMicroseconds());
    return text;
}

std::string table(const std::vector<bench::Note>& machine, const std::vector<bench::Comparison>& comparisons,
                  const std::vector<bench::Note>& notes) {
    std::ostringstream out;
    out << "# Measured\n\nWritten by `./dev bench`. Each ratio is this system's rate by that of a raw loop in the same "
           "run, as the median of\nseveral turns (lowest to highest); rates in datagrams a second, processor time of "
           "all threads in microseconds a datagram.\n\n";
    for (const auto& one : machine) out << "- " << one.name << ": " << one.text << "\n";
    out << "\n| Road | wanted | ratio | rate | raw rate | CPU | raw CPU |\n|---|---|---|---|---|---|---|\n";
    for (const auto& one : comparisons) out << row(one);
    out << "\n";
    for (const auto& one : notes) out << "- " << one.name << ": " << one.text << "\n";
    return out.str();
}

// Beside the old file first, then over it, so that no half of one is left.
bool writeWhole(const std::string& path, const std::string& text) {
    const std::string part = path + ".part";
    std::ofstream file(part, std::ios::binary);
    file << text;
    file.close();
    return file && std::rename(part.c_str(), path.c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (!test::enterPrivateNetwork(argv)) {
        std::fprintf(stderr, "bench: needs a private network, which this system refuses\n");
        return kSkipped;
    }
    const std::string out = argc == 3 && std::strcmp(argv[1], "--out") == 0 ? argv[2] : "";
    try {
        const auto machine = bench::describeMachine();
        test::RegisteredModule::once();
        const test::TwoHosts hosts;
        std::vector<bench::Comparison> comparisons;
        {
            const test::PlainSocket joined = bench::joinGroup(hosts);
            comparisons.push_back(bench::senderComparison("sender, samples of 1316 bytes", 0.85, 1316, 1, 300'000));
            comparisons.push_back(bench::senderComparison("sender, samples of 188 bytes", 0.70, 188, 1, 100'000));
            comparisons.push_back(bench::senderComparison("sender, eight destinations", 0.90, 1316, 8, 50'000));
            comparisons.push_back(bench::commandComparison(hosts));
        }
        comparisons.push_back(bench::receiverComparison(hosts, 0.80));
        const std::vector<bench::Note> notes = {bench::lossAt(hosts, 150'000), bench::spacingUnderLoad(hosts)};
        const std::string text = table(machine, comparisons, notes);
        std::fputs(text.c_str(), stdout);
        if (!out.empty() && !writeWhole(out, text)) throw std::runtime_error("can't write " + out);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "bench: %s\n", problem.what());
        return 1;
    }
}
