#include "terminal/terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "terminal/run_summary.h"
#include "terminal/stream_rows.h"

namespace {

using namespace mcgate::host;

/// A terminal that knows the few sequences that are used, and no other.
class Screen {
public:
    std::vector<std::string> rows{""};
    bool coloured = false;
    bool wrapped = false;
    Terminal::Size size{40, 24};
    std::size_t row = 0;
    std::size_t column = 0;

    Terminal::Device device(bool live = true, bool colours = true) {
        return {[this](std::string_view text) { take(text); },
                live ? std::function([this] { return size; }) : std::function<Terminal::Size()>(), colours};
    }
    std::string all() const {
        std::string text;
        for (const auto& one : rows) text += one + "\n";
        return text;
    }

private:
    void take(std::string_view text) {
        while (!text.empty()) text.remove_prefix(text.front() == '\x1b' ? sequence(text) : character(text.front()));
    }
    std::size_t character(char c) {
        if (c == '\r') column = 0;
        if (c == '\n') column = 0;  // a terminal's line discipline adds the return
        if (c == '\n' && ++row == rows.size()) rows.emplace_back();
        if (c == '\r' || c == '\n') return 1;
        rows[row].resize(std::max(rows[row].size(), column + 1), ' ');
        rows[row][column++] = c;
        wrapped = wrapped || column >= size.columns;
        return 1;
    }
    std::size_t sequence(std::string_view text) {
        const std::size_t end = text.find_first_of("AJm");
        EXPECT_NE(end, std::string::npos) << "no sequence that is known";
        if (text[end] == 'A') row -= std::stoul(std::string(text.substr(2, end - 2)));
        if (text[end] == 'J') rows.resize(row + 1);
        if (text[end] == 'J') rows[row].resize(column);
        coloured = coloured || text[end] == 'm';
        return end + 1;
    }
};

LiveStream sending() {
    LiveStream stream{"send", {}, 83, 20e6, {}};
    stream.values.datagrams = 157'712;
    stream.values.droppedSamples = 3;
    stream.values.dataPresent = true;
    stream.values.input = PacketReader::Place{410, 1000, 2};
    stream.values.interfaces["eth0"] = false;
    return stream;
}

Terminal::Rows rowsOf(const LiveStream& stream) {
    return [stream](const Terminal::Size& room) { return streamRows(stream, room.columns); };
}

TEST(Terminal, LinesStandAboveLiveRowsThatAreDrawnInPlaceAtAnyWidth) {
    Screen screen;
    Terminal terminal(screen.device());
    terminal.show(rowsOf(sending()));
    const std::string live =
        "send 0:01:23  data present\n  20.00 Mbit/s\n  pass 2 [########------------] 41 %, 0\n"
        "  157712 datagrams  dropped 3\n  eth0 down\n";
    EXPECT_EQ(screen.all(), live);
    terminal.print("a line\n");
    terminal.show(rowsOf(sending()));
    terminal.print("a line\x1b[5A that would tear\r\n");
    EXPECT_EQ(screen.all(), "a line\na line?[5A that would tear?\n" + live);
    EXPECT_TRUE(screen.coloured);
    EXPECT_FALSE(screen.wrapped);
    screen.size.columns = 120;
    terminal.show(rowsOf(sending()));
    EXPECT_EQ(screen.rows.size(), 4U) << screen.all();
    EXPECT_EQ(screen.rows[2].substr(0, 90),
              "send 0:01:23  data present  20.00 Mbit/s  pass 2 [########------------] 41 %, 0:00:35 left")
        << "by the pace of all passes";
    screen.size = {20, 4};
    terminal.show(rowsOf(sending()));
    terminal.show(nullptr);
    EXPECT_EQ(screen.all(), "a line\na line?[5A that would tear?\n\n");
}

TEST(Terminal, WithoutATerminalOnlyLinesAreWrittenAndWithoutColoursNone) {
    Screen file;
    Terminal plain(file.device(false));
    plain.show(rowsOf(sending()));
    plain.print("tab\tand \x01 as they are\n");
    EXPECT_EQ(file.all(), "tab\tand \x01 as they are\n\n");
    Screen screen;
    Terminal colourless(screen.device(true, false));
    colourless.show(rowsOf(sending()));
    EXPECT_FALSE(screen.coloured);
}

TEST(StreamTable, KeepsItsFirstColumnsAndTheRowsOfStreamsInTrouble) {
    Screen screen;
    Terminal terminal(screen.device());
    const LiveStream failed{"b", "failed", 0, {}, {}};
    LiveStream lossy = sending();
    lossy.values.destinations = {{"udp://10.0.0.9:1", "no way"}};
    const auto rows = [&](const Terminal::Size& room) { return streamTable({sending(), lossy, failed}, room); };
    terminal.show(rows);
    EXPECT_EQ(screen.all(),
              "stream  state   Mbit/s     time\n"
              "send    data     20.00  0:01:23\n"
              "send    1 lost   20.00  0:01:23\n"
              "b       failed       -        -\n");
    screen.size.lines = 4;
    terminal.show(rows);
    EXPECT_EQ(screen.rows[1].substr(0, 22), "b       failed       -");
    EXPECT_EQ(screen.rows[2], "and 2 more");
    screen.size.columns = 80;
    LiveStream named = sending();
    named.name = "fourteen signs";
    named.values = {};
    named.values.datagrams = 999'999'999;
    terminal.show([&](const Terminal::Size& room) { return streamTable({named}, room); });
    EXPECT_NE(screen.rows[0].find("p99 ms"), std::string::npos) << screen.all();
}

TEST(StreamRows, TellOfSeveralDestinationsThoseFirstThatAreLost) {
    LiveStream stream = sending();
    const std::size_t before = streamRows(stream, 80).size();
    stream.values.destinations = {{"udp://10.0.0.1:1", ""}};
    EXPECT_EQ(streamRows(stream, 80).size(), before);
    for (int i = 2; i < 12; ++i) stream.values.destinations.push_back({"udp://10.0.0." + std::to_string(i) + ":1", ""});
    stream.values.destinations.back().fault = "lost";
    const auto rows = streamRows(stream, 80);
    ASSERT_EQ(rows.size(), before + 8);
    EXPECT_EQ(rows[before][0].text + rows[before][1].text, "  to udp://10.0.0.11:1  lost");
    EXPECT_EQ(rows[before + 1][0].text + rows[before + 1][1].text, "  to udp://10.0.0.1:1  sent");
    EXPECT_EQ(rows.back()[0].text, "  and 4 more");
}

TEST(RunSummary, CountsOutagesByTheirTimes) {
    RunSummary summary("mcgate 1.2", "mcgate receive udp://@:5000");
    StreamValues values;
    values.datagrams = 1;
    double second = 0;
    for (const bool present : {false, true, false, false, true, true, false}) {
        values.dataPresent = present;
        summary.observe(values, second++, 1e6);
    }
    Notice warning;
    warning.level = 1;
    warning.text = "dropping";
    summary.heed(warning);
    values.destinations = {{"udp://10.0.0.8:1", ""}, {"udp://10.0.0.9:1", "no way"}};
    const std::string text = summary.finish(StreamKind::Receive, values, 10, 0.5e6);
    EXPECT_NE(text.find("first seen after 1.0 s; gone 2 times, 6.0 s in all, 4.0 s at the longest\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("0.50 Mbit/s mean, 1.00 Mbit/s in the peak second\n"), std::string::npos) << text;
    EXPECT_NE(text.find("0 errors, 1 warning; the last one: dropping\n"), std::string::npos) << text;
    EXPECT_NE(text.find("longest\nunreachable udp://10.0.0.9:1: no way\ntold "), std::string::npos) << text;
    EXPECT_NE(text.find("received    1 datagram, 0 bytes\n"), std::string::npos) << text;
    const StreamRecord north{"north", false, 0, {{"udp://10.0.0.9:1", "no way"}}};
    const std::string ofSeveral = summary.finish({north, {"east", true, 0, {}}, {"west", true, 2, {}}}, 10);
    EXPECT_NE(ofSeveral.find("0:00:10\ndata        north: none ever came, west: gone 2 times\n"
                             "unreachable 1 destination lost\nunreachable north: udp://10.0.0.9:1: no way\ntold "),
              std::string::npos)
        << ofSeveral;
}

}  // namespace
