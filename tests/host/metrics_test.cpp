#include "metrics/metrics_page.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "metrics/metrics_server.h"

namespace {

using namespace mcgate::host;

StreamSet::View received(std::uint64_t datagrams, std::uint64_t errors) {
    StreamSet::View stream{1, "a \"b\"\\c", StreamKind::Receive, {}};
    stream.snapshot.state = StreamState::Running;
    stream.snapshot.values.datagrams = datagrams;
    stream.snapshot.values.continuityErrors = errors;
    stream.snapshot.totals = countsOf(stream.snapshot.values, stream.kind);
    return stream;
}

bool has(const std::string& page, const std::string& line) {
    return ("\n" + page).find("\n" + line + "\n") != std::string::npos;
}

TEST(MetricsPage, CountersNeverGoBackwardsAndLabelsAreEscaped) {
    MetricsPage page("1.2");
    const std::string labels = R"({graph="a \"b\"\\c",kind="receive"} )";
    EXPECT_TRUE(has(page.text({received(100, 3)}), "mcgate_datagrams_received_total" + labels + "100"));
    const std::string anew = page.text({received(10, 3)});
    EXPECT_TRUE(has(anew, "mcgate_datagrams_received_total" + labels + "110")) << anew;
    EXPECT_TRUE(has(anew, "mcgate_continuity_errors_total" + labels + "6")) << "the same number, but of another run";
    EXPECT_TRUE(has(anew, "mcgate_build_info{version=\"1.2\"} 1"));
    EXPECT_EQ(anew.find("mcgate_kernel_drops_total"), std::string::npos) << "what nobody counts isn't told as 0";
}

/// Name, type and further label of each metric, as a page has them.
std::set<std::string> metricsOf(const std::string& page) {
    const std::set<std::string> general{"graph", "kind"};
    std::map<std::string, std::string> types;
    std::set<std::string> found;
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, std::regex("# TYPE (\\w+) (\\w+)"))) types[parts[1]] = parts[2];
        if (line.front() == '#') continue;
        const std::string name = line.substr(0, line.find_first_of("{ "));
        std::string further;
        const std::regex label("(\\w+)=\"");
        for (std::sregex_iterator one(line.begin(), line.end(), label), end; one != end; ++one) {
            if (general.count((*one)[1]) == 0) further = (*one)[1];
        }
        found.insert(name + " " + types[name] + " " + further);
    }
    return found;
}

TEST(MetricsPage, HasWhatItsDocumentLists) {
    StreamSet::View relay{1, "all", StreamKind::Relay, {}};
    StreamValues& values = relay.snapshot.values;
    values.datagrams = values.bytes = values.receivedDatagrams = values.receivedBytes = values.droppedSamples = 1;
    values.kernelDrops = values.continuityErrors = values.queuedSamples = values.bufferFullNotices = 1;
    values.holdBackMs = 40;
    values.spacing = SpacingMeter::Figures{};
    values.interfaces["eth0"] = true;
    relay.snapshot.totals = countsOf(values, relay.kind);
    std::set<std::string> documented;
    std::ifstream document(MCGATE_METRICS_DOCUMENT);
    for (std::string line; std::getline(document, line);) {
        std::smatch parts;
        const std::regex row(R"(\| (mcgate_\w+) \| (\w+) \| ?(\w*) \|.*)");
        if (std::regex_match(line, parts, row)) documented.insert(parts.format("$1 $2 $3"));
    }
    EXPECT_EQ(metricsOf(MetricsPage("1.2").text({relay})), documented);
}

TEST(MetricsServer, GivesThePageAndNothingElse) {
    ListenAddress anyPort = parseListenAddress("127.0.0.1:1");
    anyPort.address.setPort(0);
    MetricsServer server(anyPort, "1.2", [] { return std::vector{received(7, 0)}; });
    httplib::Client client("127.0.0.1", server.address().address.port());
    const auto page = client.Get("/metrics");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_EQ(page->get_header_value("Content-Type"), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_NE(page->body.find("mcgate_datagrams_received_total"), std::string::npos) << page->body;
    for (const auto& other : {client.Get("/"), client.Post("/metrics"), client.Get("/metrics/x")}) {
        EXPECT_TRUE(other && other->status == 404);
    }
    const auto foreign = client.Get("/metrics", {{"Host", "evil.example"}});
    EXPECT_TRUE(foreign && foreign->status == 421) << "a name that was made to point here";
}

}  // namespace
