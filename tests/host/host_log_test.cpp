#include "cli/host_log.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>

#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using mcgate::host::HostLog;
using mcgate::host::ReportForm;

/// A log in one form and the lines that it wrote.
struct Written {
    explicit Written(ReportForm form) : log(form, 0, std::make_shared<spdlog::sinks::ostream_sink_mt>(stream, true)) {}
    std::vector<std::string> lines() {
        std::vector<std::string> all;
        std::istringstream text(stream.str());
        for (std::string line; std::getline(text, line);) all.push_back(line);
        return all;
    }
    std::ostringstream stream;
    HostLog log;
};

/// The text with every digit turned into a 9.
std::string shape(std::string text) {
    for (char& one : text) {
        if (one >= '0' && one <= '9') one = '9';
    }
    return text;
}

TEST(HostLog, LinesCarryTimeAndLevelInTheFormOfTheReport) {
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
    ASSERT_EQ(text.lines().size(), 3U) << text.stream.str();
    ASSERT_EQ(json.lines().size(), 3U) << json.stream.str();
    EXPECT_EQ(none.lines().size(), 2U) << "progress belongs to a report";
    EXPECT_EQ(shape(text.lines()[1]), "mcgate: 99:99:99.999 warning: dropping");
    const auto line = nlohmann::json::parse(json.lines()[0]);
    EXPECT_EQ(line["event"], "log");
    EXPECT_EQ(line["level"], "error");
    EXPECT_EQ(line["text"], "can't send {} \"\uFFFD\"");
    EXPECT_EQ(shape(line["time"]), "9999-99-99T99:99:99.999Z");
    EXPECT_EQ(nlohmann::json::parse(json.lines()[2])["level"], "info");
}

TEST(HostLog, ADryPoolIsToldOncePerPeriodWithItsCount) {
    Written none(ReportForm::None);
    none.log.DeclareBuffer("first");
    none.log.tellFullBuffers();
    for (const char* name : {"first", "second", "second", "second"}) none.log.NotifyBufferFull(name);
    none.log.tellFullBuffers();
    none.log.tellFullBuffers();
    ASSERT_EQ(none.lines().size(), 2U) << none.stream.str();
    EXPECT_TRUE(none.lines()[0].ends_with(" warning: Pin output buffer full : first"));
    EXPECT_TRUE(none.lines()[1].ends_with(" warning: Pin output buffer full : second (x3)"));
    EXPECT_EQ(none.log.bufferFullNotices(), 4U);
}

}  // namespace
