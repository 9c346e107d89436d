#include "cli/run_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace mcgate::host {

namespace {

using Views = std::vector<StreamSet::View>;

/// Figures of all streams together.
struct Sums {
    double sentRate = 0;
    double receivedRate = 0;
    std::uint64_t dropped = 0;
    std::uint64_t kernelDrops = 0;
    std::uint64_t continuityErrors = 0;

    explicit Sums(const Views& streams) {
        for (const auto& stream : streams) {
            const StreamSnapshot& now = stream.snapshot;
            (stream.kind == StreamKind::Receive ? receivedRate : sentRate) += now.bitRate;
            dropped += now.values.droppedSamples.value_or(0);
            kernelDrops += now.values.kernelDrops.value_or(0);
            continuityErrors += now.values.continuityErrors.value_or(0);
        }
    }
};

std::string silentOnes(const Views& streams) {
    std::string names;
    for (const auto& stream : streams) {
        const bool silent = stream.snapshot.state == StreamState::Running && !stream.snapshot.values.dataPresent;
        if (silent) names += (names.empty() ? "" : ", ") + stream.name;
    }
    return names;
}

std::string lineOf(const Views& streams, double seconds) {
    const Sums sums(streams);
    const std::string silent = silentOnes(streams);
    return fmt::format(
        "run {:.2f} s  {}  sent {:.2f} Mbit/s  received {:.2f} Mbit/s  dropped {}  kernel drops {}  continuity errors "
        "{}{}",
        seconds, stateWords(streams), sums.sentRate / 1e6, sums.receivedRate / 1e6, sums.dropped, sums.kernelDrops,
        sums.continuityErrors, silent.empty() ? "" : "  no data: " + silent);
}

double wholeRate(const StreamSnapshot& snapshot) {
    const auto bytes = static_cast<double>(snapshot.values.bytes.value_or(0));
    return snapshot.lastedS > 0 ? bytes * 8 / snapshot.lastedS : 0;
}

void writeObject(const StreamSet::View& stream, double bitRate, bool final) {
    const StreamSnapshot& now = stream.snapshot;
    nlohmann::ordered_json line{
        {"stream", stream.name}, {"kind", nameOf(stream.kind)}, {"state", nameOf(now.state)}, {"error", now.error}};
    line.update(reportFields(now.values, now.lastedS, now.values.bytes ? std::optional(bitRate) : std::nullopt));
    if (final) line["final"] = true;
    std::fprintf(stderr, "%s\n", line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

}  // namespace

std::string stateWords(const Views& streams) {
    const auto running = std::count_if(streams.begin(), streams.end(), [](const auto& stream) {
        return stream.snapshot.state == StreamState::Running;
    });
    std::string words = fmt::format("{} of {} streams running", running, streams.size());
    for (const auto& stream : streams) {
        if (!stream.snapshot.error.empty()) words += "; " + stream.name + ": " + stream.snapshot.error;
    }
    std::replace(words.begin(), words.end(), '\n', ' ');
    return words;
}

void RunReport::write(const Views& streams) {
    const auto now = Clock::now();
    while (next_ <= now) next_ += std::chrono::seconds(1);
    const std::chrono::duration<double> whole = now - start_;
    if (form_ == ReportForm::Json) {
        for (const auto& stream : streams) writeObject(stream, stream.snapshot.bitRate, false);
    }
    if (++seconds_ % kSecondsPerLine != 0) return;
    if (form_ == ReportForm::Text) std::fprintf(stderr, "%s\n", lineOf(streams, whole.count()).c_str());
}

void RunReport::writeLast(const Views& streams) const {
    for (const auto& stream : streams) {
        const StreamValues& values = stream.snapshot.values;
        const double bitRate = wholeRate(stream.snapshot);
        if (form_ == ReportForm::Json) writeObject(stream, bitRate, true);
        if (form_ != ReportForm::Text) continue;
        const auto rate = values.bytes ? std::optional(bitRate) : std::nullopt;
        std::fprintf(stderr, "%s: total %.2f s%s\n", stream.name.c_str(), stream.snapshot.lastedS,
                     reportWords(values, rate).c_str());
    }
}

}  // namespace mcgate::host
