#include "terminal/stream_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>

namespace mcgate::host {

namespace {

constexpr int kBar = 20;
constexpr double kStart = 2.5;  // seconds
constexpr std::size_t kMostDestinations = 8;

using Count = std::optional<std::uint64_t>;

bool isInTrouble(const LiveStream& stream) { return !stream.state.empty() || !stream.values.dataPresent; }

bool hasLost(const LiveStream& stream) { return !stream.values.lostDestinations().empty(); }

Piece dataState(const LiveStream& stream, const char* present = "data present") {
    if (!stream.state.empty()) return {stream.state, stream.state == "failed" ? Tone::Bad : Tone::Plain};
    return stream.values.dataPresent ? Piece{present, Tone::Good} : Piece{"no data", Tone::Bad};
}

// A fault that hasn't happened is told in plain.
Piece faults(const std::string& text, std::uint64_t count) { return {text, count > 0 ? Tone::Bad : Tone::Plain}; }

void addFaults(std::vector<Piece>& fields, const char* what, const Count& count) {
    if (count) fields.push_back(faults(fmt::format("{} {}", what, *count), *count));
}

std::string passWords(const PacketReader::Place& place) {
    return place.pass > 1 ? fmt::format("pass {} ", place.pass) : std::string();
}

// At the pace of all passes so far, as the rate of a second varies; the first ones hold the start.
std::string timeLeft(const PacketReader::Place& place, double elapsedS) {
    if (elapsedS < kStart || place.position == 0 || place.position >= place.size) return {};
    const double read =
        static_cast<double>(place.pass - 1) * static_cast<double>(place.size) + static_cast<double>(place.position);
    const double left = static_cast<double>(place.size - place.position) * elapsedS / read;
    return fmt::format(", {} left", durationText(std::ceil(left)));
}

std::string readWords(const PacketReader::Place& place, double elapsedS) {
    const auto percent = percentRead(place);
    if (!percent) return fmt::format("{:.1f} MB read", static_cast<double>(place.position) / 1e6);
    return fmt::format("{:.0f} %{}", std::floor(*percent), timeLeft(place, elapsedS));
}

void addProgress(std::vector<Piece>& fields, const LiveStream& stream) {
    if (!stream.values.input) return;
    const auto& place = *stream.values.input;
    std::string bar;
    if (const auto percent = percentRead(place)) {
        bar = fmt::format("[{:-<{}}] ", std::string(static_cast<std::size_t>(*percent * kBar / 100), '#'), kBar);
    }
    fields.push_back({passWords(place) + bar + readWords(place, stream.elapsedS), Tone::Plain});
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

// Where there are several, or one that is lost. Those come first.
void addDestinations(std::vector<Row>& rows, std::vector<StreamValues::Destination> all) {
    const auto sound = std::stable_partition(all.begin(), all.end(), std::mem_fn(&StreamValues::Destination::isLost));
    if (all.size() < 2 && sound == all.begin()) return;
    const std::size_t shown = all.size() > kMostDestinations ? kMostDestinations - 1 : all.size();
    for (std::size_t i = 0; i < shown; ++i) {
        const bool lost = all[i].isLost();
        rows.push_back({{"  to " + all[i].url + "  "}, {lost ? all[i].fault : "sent", lost ? Tone::Bad : Tone::Plain}});
    }
    if (shown < all.size()) rows.push_back({{fmt::format("  and {} more", all.size() - shown)}});
}

Piece cell(const Count& count) { return {count ? std::to_string(*count) : "-"}; }
Piece faultCell(const Count& count) { return faults(cell(count).text, count.value_or(0)); }

// Of destinations. A stream in worse trouble tells that.
Piece stateCell(const LiveStream& stream) {
    if (isInTrouble(stream) || !hasLost(stream)) return dataState(stream, "data");
    return {fmt::format("{} lost", stream.values.lostDestinations().size()), Tone::Bad};
}

// With a name of up to 14 letters a row finds room in 80 columns.
Row tableRow(const LiveStream& stream) {
    const auto& values = stream.values;
    Row row{{stream.name},
            stateCell(stream),
            {stream.bitRate ? fmt::format("{:.2f}", *stream.bitRate / 1e6) : "-"},
            {stream.elapsedS > 0 ? durationText(stream.elapsedS) : "-"},
            cell(values.datagrams)};
    const bool counted = values.droppedSamples || values.kernelDrops;
    const std::uint64_t drops = values.droppedSamples.value_or(0) + values.kernelDrops.value_or(0);
    row.push_back(faultCell(counted ? Count(drops) : Count()));
    row.push_back(faultCell(values.continuityErrors));
    row.push_back({values.holdBackMs ? std::to_string(*values.holdBackMs) : "-"});
    row.push_back({values.spacing ? fmt::format("{:.2f}", values.spacing->p99Ms) : "-"});
    return row;
}

}  // namespace

std::string durationText(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::max(seconds, 0.0));
    return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

std::optional<double> percentRead(const PacketReader::Place& place) {
    if (place.size == 0) return {};
    return std::min(static_cast<double>(place.position) / static_cast<double>(place.size), 1.0) * 100;
}

std::string progressWords(const PacketReader::Place& place, double elapsedS) {
    return passWords(place) + readWords(place, elapsedS);
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
    auto rows = flow(fields, columns);
    addDestinations(rows, values.destinations);
    return rows;
}

std::vector<Row> streamTable(const std::vector<LiveStream>& streams, const Terminal::Size& room) {
    std::vector<Row> cells{
        {{"stream"}, {"state"}, {"Mbit/s"}, {"time"}, {"datagrams"}, {"drops"}, {"cc"}, {"hold ms"}, {"p99 ms"}}};
    std::vector<LiveStream> shown = streams;
    const std::size_t most = std::max<std::size_t>(room.lines, 3) - 2;  // beside the heading and the last row
    if (streams.size() > most + 1) {
        std::stable_partition(shown.begin(), shown.end(), hasLost);
        std::stable_partition(shown.begin(), shown.end(), isInTrouble);
        shown.resize(most);
    }
    for (const auto& stream : shown) cells.push_back(tableRow(stream));
    auto rows = table(cells, room.columns, 2);
    if (shown.size() < streams.size()) rows.push_back({{fmt::format("and {} more", streams.size() - shown.size())}});
    return rows;
}

}  // namespace mcgate::host
