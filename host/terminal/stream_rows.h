#pragma once

#include <optional>
#include <string>
#include <vector>

#include "streams/stream_values.h"
#include "terminal/terminal.h"

namespace mcgate::host {

/// "0:02:07", or "26:00:01" after more than a day. Negative ones count as 0.
std::string durationText(double seconds);

/// How much of a pass over a file has been read, 0 to 100; none where the input is no file.
std::optional<double> percentRead(const PacketReader::Place& place);
/// Such as "pass 2 41 %, 0:00:35 left", or "12.5 MB read" where the input is no file.
std::string progressWords(const PacketReader::Place& place, double elapsedS);

/// What a stream does at the moment, for live rows.
struct LiveStream {
    std::string name;
    std::string state;  ///< of one that doesn't run: "stopped", "failed"; empty: its data state tells
    double elapsedS = 0;
    std::optional<double> bitRate;  ///< bits per second
    StreamValues values;
};

/// One stream, in as few rows as hold it, and a row for each of several destinations.
std::vector<Row> streamRows(const LiveStream& stream, std::size_t columns);
/// Several streams, a row each below a heading. Where not all find room, those without data go first, then those with
/// lost destinations, and a last row tells how many are left out.
std::vector<Row> streamTable(const std::vector<LiveStream>& streams, const Terminal::Size& room);

}  // namespace mcgate::host
