#include "terminal/stream_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace mcgate::host {

namespace {

constexpr int kBar = 20;
constexpr double kStart = 2.5;  // seconds

using Count = std::optional<std::uint64_t>;

bool isInTrouble(const LiveStream& stream) { return !stream.state.empty() || !stream.values.dataPresent; }

Piece dataState(const LiveStream& stream) {
    if (!stream.state.empty()) return {stream.state, stream.state == "failed" ? Tone::Bad : Tone::Plain};
    return stream.values.dataPresent ? Piece{"data present", Tone::Good} : Piece{"no data", Tone::Bad};
}

// A fault that hasn't happened is told in plain.
Piece faults(const std::string& text, std::uint64_t count) { return {text, count > 0 ? Tone::Bad : Tone::Plain}; }

void addFaults(std::vector<Piece>& fields, const char* what, const Count& count) {
    if (count) fields.push_back(faults(fmt::format("{} {}", what, *count), *count));
}

double fraction(const PacketReader::Place& place) {
    return std::min(static_cast<double>(place.position) / static_cast<double>(place.size), 1.0);
}

// At the rate of the last second; the first ones hold the start.
std::string timeLeft(const LiveStream& stream) {
    const auto& place = *stream.values.input;
    if (stream.elapsedS < kStart || stream.bitRate.value_or(0) <= 0 || place.position >= place.size) return {};
    const double left = static_cast<double>(place.size - place.position) * 8 / *stream.bitRate;
    return fmt::format(", {} left", durationText(std::ceil(left)));
}

void addProgress(std::vector<Piece>& fields, const LiveStream& stream) {
    if (!stream.values.input) return;
    const auto& place = *stream.values.input;
    const std::string pass = place.pass > 1 ? fmt::format("pass {} ", place.pass) : std::string();
    if (place.size == 0) {
        fields.push_back(
            {fmt::format("{}{:.1f} MB read", pass, static_cast<double>(place.position) / 1e6), Tone::Plain});
        return;
    }
    const double done = fraction(place);
    const auto marks = static_cast<std::size_t>(done * kBar);
    fields.push_back({fmt::format("{}[{:-<{}}] {:.0f} %{}", pass, std::string(marks, '#'), kBar, std::floor(done * 100),
                                  timeLeft(stream)),
                      Tone::Plain});
}

void addCounts(std::vector<Piece>& fields, const StreamValues& values) {
    if (values.receivedDatagrams) fields.push_back({fmt::format("{} datagrams received", *values.receivedDatagrams)});
    if (values.datagrams) {
        fields.push_back({fmt::format("{} datagrams{}", *values.datagrams, values.receivedDatagrams ? " sent" : "")});
    }
    addFaults(fields, "dropped", values.droppedSamples);
    addFaults(fields, "kernel drops", values.kernelDrops);
    addFaults(fields, "continuity errors", values.continuityErrors);
    if (values.bufferFullNotices.value_or(0) > 0) addFaults(fields, "buffer full", values.bufferFullNotices);
}

Piece cell(const Count& count) { return {count ? std::to_string(*count) : "-"}; }
Piece faultCell(const Count& count) { return faults(cell(count).text, count.value_or(0)); }

Row tableRow(const LiveStream& stream) {
    const auto& values = stream.values;
    Row row{{stream.name},
            dataState(stream),
            {stream.bitRate ? fmt::format("{:.2f}", *stream.bitRate / 1e6) : "-"},
            {stream.elapsedS > 0 ? durationText(stream.elapsedS) : "-"},
            cell(values.datagrams)};
    const bool counted = values.droppedSamples || values.kernelDrops;
    const std::uint64_t drops = values.droppedSamples.value_or(0) + values.kernelDrops.value_or(0);
    row.push_back(faultCell(counted ? Count(drops) : Count()));
    row.push_back(faultCell(values.continuityErrors));
    row.push_back({values.holdBackMs ? fmt::format("{} ms", *values.holdBackMs) : "-"});
    row.push_back({values.spacing ? fmt::format("{:.2f} ms", values.spacing->p99Ms) : "-"});
    return row;
}

}  // namespace

std::string durationText(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::max(seconds, 0.0));
    return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

std::vector<Row> streamRows(const LiveStream& stream, std::size_t columns) {
    const auto& values = stream.values;
    std::vector<Piece> fields{{stream.name + " " + durationText(stream.elapsedS)}, dataState(stream)};
    if (stream.bitRate) fields.push_back({fmt::format("{:.2f} Mbit/s", *stream.bitRate / 1e6)});
    addProgress(fields, stream);
    addCounts(fields, values);
    if (values.holdBackMs) fields.push_back({fmt::format("hold-back {} ms", *values.holdBackMs)});
    if (values.queuedSamples) fields.push_back({fmt::format("queued {}", *values.queuedSamples)});
    if (values.spacing) {
        fields.push_back({fmt::format("spacing error {:.2f} / {:.2f} / {:.2f} ms", values.spacing->medianMs,
                                      values.spacing->p99Ms, values.spacing->maxMs)});
    }
    for (const auto& [name, up] : values.interfaces) {
        fields.push_back({name + (up ? " up" : " down"), up ? Tone::Plain : Tone::Bad});
    }
    return flow(fields, columns);
}

std::vector<Row> streamTable(const std::vector<LiveStream>& streams, const Terminal::Size& room) {
    std::vector<Row> cells{{{"stream"},
                            {"state"},
                            {"Mbit/s"},
                            {"time"},
                            {"datagrams"},
                            {"drops"},
                            {"cc errors"},
                            {"hold-back"},
                            {"spacing p99"}}};
    std::vector<LiveStream> shown = streams;
    const std::size_t most = std::max<std::size_t>(room.lines, 3) - 2;  // beside the heading and the last row
    if (streams.size() > most + 1) {
        std::stable_partition(shown.begin(), shown.end(), isInTrouble);
        shown.resize(most);
    }
    for (const auto& stream : shown) cells.push_back(tableRow(stream));
    auto rows = table(cells, room.columns, 2);
    if (shown.size() < streams.size()) rows.push_back({{fmt::format("and {} more", streams.size() - shown.size())}});
    return rows;
}

}  // namespace mcgate::host
