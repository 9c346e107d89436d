#include "metrics/metrics_page.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <string>
#include <vector>

#include "metrics/metrics_server.h"

namespace {

using namespace mcgate::host;

MeteredStream received(std::uint64_t datagrams, std::uint64_t errors) {
    MeteredStream stream{"a \"b\"\\c", StreamKind::Receive, {}};
    stream.now.state = StreamState::Running;
    stream.now.values.datagrams = datagrams;
    stream.now.values.continuityErrors = errors;
    stream.now.totals = countsOf(stream.now.values, stream.kind);
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
}

}  // namespace
