#include "cli/run_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "terminal/stream_rows.h"

namespace mcgate::host {

namespace {

using Views = std::vector<StreamSet::View>;

constexpr std::size_t kMostRefusal = 200;

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

LiveStream liveOf(const StreamSet::View& stream) {
    const StreamSnapshot& now = stream.snapshot;
    LiveStream live{stream.name, {}, now.uptimeS, {}, now.values};
    if (now.values.bytes) live.bitRate = now.bitRate;
    if (!now.error.empty()) live.state = "failed";
    if (live.state.empty() && now.state != StreamState::Running) live.state = nameOf(now.state);
    return live;
}

// A service manager takes no half of a character (UTF-8).
std::string shortened(const std::string& text) {
    if (text.size() <= kMostRefusal) return text;
    std::size_t size = kMostRefusal;
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) --size;
    return text.substr(0, size) + "...";
}

// A graph that is stopped doesn't send anywhere.
std::size_t countLost(const Views& streams) {
    std::size_t count = 0;
    for (const auto& stream : streams) {
        if (stream.snapshot.state != StreamState::Stopped) count += stream.snapshot.values.lostDestinations().size();
    }
    return count;
}

std::string faultOf(const StreamSnapshot& now) {
    return now.error.empty() && now.state != StreamState::Stopped ? now.values.lostText() : now.error;
}

// At a look or, where it was between two of them, by its traffic.
bool hadData(const StreamSnapshot& now) {
    const auto counted = [&now](StreamCounts::Counter one) { return now.totals.of[one].value_or(0) > 0; };
    return now.values.dataPresent || counted(StreamCounts::DataOutages) || counted(StreamCounts::SentDatagrams) ||
           counted(StreamCounts::ReceivedDatagrams);
}

StreamRecord recordOf(const StreamSet::View& stream) {
    const StreamSnapshot& now = stream.snapshot;
    const bool wasToRun = now.lastedS > 0 || !now.error.empty();
    return {stream.name, !wasToRun || hadData(now), now.totals.of[StreamCounts::DataOutages].value_or(0),
            now.values.lostDestinations()};
}

}  // namespace

std::string stateWords(const Views& streams, const std::string& refusal) {
    const auto running = std::count_if(streams.begin(), streams.end(), [](const auto& stream) {
        return stream.snapshot.state == StreamState::Running;
    });
    std::string words = fmt::format("{} of {} streams running", running, streams.size());
    if (!refusal.empty()) words += "; the reload was refused: " + shortened(refusal);
    const std::size_t lost = countLost(streams);
    if (lost > 0) words += fmt::format("; {} destination{} lost", lost, lost == 1 ? "" : "s");
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
    if (form_ != ReportForm::Text) return;
    if (terminal_.isLive()) {
        std::vector<LiveStream> live;
        for (const auto& stream : streams) live.push_back(liveOf(stream));
        terminal_.show([live](const Terminal::Size& room) { return streamTable(live, room); });
    } else if (++seconds_ % kSecondsPerLine == 0) {
        terminal_.print(lineOf(streams, whole.count()) + '\n');
    }
}

void RunReport::writeObject(const StreamSet::View& stream, double bitRate, bool final) const {
    const StreamSnapshot& now = stream.snapshot;
    nlohmann::ordered_json line{
        {"stream", stream.name}, {"kind", nameOf(stream.kind)}, {"state", nameOf(now.state)}, {"error", faultOf(now)}};
    line.update(reportFields(now.values, now.lastedS, now.values.bytes ? std::optional(bitRate) : std::nullopt));
    if (final) line["final"] = true;
    terminal_.print(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n');
}

void RunReport::writeLast(const Views& streams) const {
    terminal_.show(nullptr);
    std::vector<StreamRecord> records;
    for (const auto& stream : streams) {
        const StreamValues& values = stream.snapshot.values;
        const double bitRate = wholeRate(stream.snapshot);
        if (form_ == ReportForm::Json) writeObject(stream, bitRate, true);
        if (form_ != ReportForm::Text) continue;
        const auto rate = values.bytes ? std::optional(bitRate) : std::nullopt;
        terminal_.print(
            fmt::format("{}: total {:.2f} s{}\n", stream.name, stream.snapshot.lastedS, reportWords(values, rate)));
        records.push_back(recordOf(stream));
    }
    const std::chrono::duration<double> whole = Clock::now() - start_;
    if (form_ == ReportForm::Text) terminal_.print(summary_.finish(records, whole.count()));
}

}  // namespace mcgate::host
