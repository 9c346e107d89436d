#include "streams/stream_log.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/notice_printer.h"

namespace {

using namespace mcgate::host;

/// A stream's log whose notices are printed in one form, and the lines of that.
struct Written {
    explicit Written(ReportForm form)
        : printer(form, "send", [this](const std::string& line) { lines.push_back(line.substr(0, line.size() - 1)); }),
          log([this](const Notice& notice) { printer.tell(notice); }) {}
    std::vector<std::string> lines;
    NoticePrinter printer;
    StreamLog log;
};

/// The text with every digit turned into a 9.
std::string shape(std::string text) {
    for (char& one : text) {
        if (one >= '0' && one <= '9') one = '9';
    }
    return text;
}

TEST(StreamLog, LinesCarryTimeAndLevelInTheFormOfTheReport) {
    Written text(ReportForm::Text);
    Written json(ReportForm::Json);
    Written none(ReportForm::None);
    for (Written* one : {&text, &json, &none}) {
        one->log.Log(0, "%s", "can't send {} \"\xFF\"");
        one->log.Log(0, "%s", "can't send {} \"\xFF\"");
        one->log.Log(1, "dropping");
        one->log.Log(2, "Flush end");
        EXPECT_EQ(one->log.lastError(), "can't send {} \"\xFF\"");
    }
    ASSERT_EQ(text.lines.size(), 3U);
    ASSERT_EQ(json.lines.size(), 3U);
    EXPECT_EQ(none.lines.size(), 2U) << "progress belongs to a report";
    EXPECT_EQ(shape(text.lines[1]), "mcgate: 99:99:99.999 warning: dropping");
    const auto line = nlohmann::json::parse(json.lines[0]);
    EXPECT_EQ(line["event"], "log");
    EXPECT_EQ(line["level"], "error");
    EXPECT_EQ(line["text"], "can't send {} \"\uFFFD\"");
    EXPECT_EQ(shape(line["time"]), "9999-99-99T99:99:99.999Z");
    EXPECT_EQ(nlohmann::json::parse(json.lines[2])["level"], "info");
}

TEST(StreamLog, ADryPoolIsToldOncePerPeriodWithItsCount) {
    Written none(ReportForm::None);
    none.log.DeclareBuffer("first");
    none.log.tellFullBuffers();
    for (const char* name : {"first", "second", "second", "second"}) none.log.NotifyBufferFull(name);
    none.log.tellFullBuffers();
    none.log.tellFullBuffers();
    ASSERT_EQ(none.lines.size(), 2U);
    EXPECT_TRUE(none.lines[0].ends_with(" warning: Pin output buffer full : first"));
    EXPECT_TRUE(none.lines[1].ends_with(" warning: Pin output buffer full : second (x3)"));
    EXPECT_EQ(none.log.bufferFullNotices(), 4U);
}

}  // namespace
