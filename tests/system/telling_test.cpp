// What a command with one stream tells: on a terminal, and to a server of metrics.

#include <gtest/gtest.h>
#include <httplib.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "demo/child.h"
#include "support/notes.h"
#include "support/private_network.h"

namespace {

using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;
using mcgate::host::Child;

constexpr std::chrono::seconds kPatience{30};
constexpr const char* kFrom = "udp://@127.0.0.1:5000";

/// The command on a terminal of its own.
class OnTerminal {
public:
    OnTerminal(std::vector<std::string> arguments, std::vector<std::string> environment, unsigned short columns) {
        winsize size{24, columns, 0, 0};
        id_ = forkpty(&descriptor_, nullptr, nullptr, &size);
        if (id_ != 0) return;
        std::vector<char*> words{const_cast<char*>(MCGATE_COMMAND)};
        for (auto& word : arguments) words.push_back(word.data());
        words.push_back(nullptr);
        for (auto& setting : environment) putenv(setting.data());
        execv(words.front(), words.data());
        _exit(127);
    }
    ~OnTerminal() {
        if (id_ > 0) kill(id_, SIGKILL);
        finish();
    }
    OnTerminal(const OnTerminal&) = delete;
    OnTerminal& operator=(const OnTerminal&) = delete;

    /// What was written from the last call to here, which ends with `end`; or to the patience's, or the terminal's,
    /// end.
    std::string upTo(const std::string& end) {
        const auto until = Clock::now() + kPatience;
        std::size_t found = 0;
        while ((found = unread_.find(end)) == std::string::npos && Clock::now() < until && take()) continue;
        const std::size_t size = found == std::string::npos ? unread_.size() : found + end.size();
        const std::string text = unread_.substr(0, size);
        unread_.erase(0, size);
        return text;
    }
    void resize(unsigned short columns) const {
        const winsize size{24, columns, 0, 0};
        EXPECT_EQ(ioctl(descriptor_, TIOCSWINSZ, &size), 0);
    }
    void interrupt() { kill(id_, SIGINT); }
    /// All that is left, once it has ended with success.
    std::string rest() {
        while (take()) continue;
        EXPECT_EQ(finish(), 0);
        return std::exchange(unread_, {});
    }

private:
    bool take() {
        pollfd watched{descriptor_, POLLIN, 0};
        std::array<char, 4096> part{};
        if (poll(&watched, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) <= 0) return false;
        const ssize_t size = read(descriptor_, part.data(), part.size());
        if (size > 0) unread_.append(part.data(), static_cast<std::size_t>(size));
        return size > 0;
    }
    int finish() {
        int status = -1;
        if (id_ > 0) waitpid(std::exchange(id_, -1), &status, 0);
        if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
        return status;
    }

    pid_t id_ = -1;
    int descriptor_ = -1;
    std::string unread_;
};

struct Telling : testing::Test {
    void SetUp() override {
        if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network";
        const std::vector<std::string> generate{MCGATE_COMMAND, "generate", "--rate", "2000000",
                                                "--duration",   "1.5",      "--out",  file};
        EXPECT_EQ(Child(generate, [](const std::string&) {}).wait(), 0);
    }
    void TearDown() override { unlink(file.c_str()); }
    void send() const {
        const std::vector<std::string> command{MCGATE_COMMAND,         "send",     file,  "--to",
                                               "udp://127.0.0.1:5000", "--report", "none"};
        EXPECT_EQ(Child(command, [](const std::string&) {}).wait(), 0);
    }
    const std::string file = testing::TempDir() + "telling" + std::to_string(getpid()) + ".ts";
};

TEST_F(Telling, OnATerminalRowsAreDrawnInPlaceAndASummaryStays) {
    OnTerminal receiver({"receive", kFrom, "--timeout", "2000"}, {"TERM=xterm"}, 80);
    receiver.upTo("no data");
    send();
    const std::string present = receiver.upTo("\x1b[32mdata present\x1b[0m");
    EXPECT_TRUE(present.ends_with("present\x1b[0m")) << present;
    EXPECT_NE(present.find("\r\x1b[1A\x1b[J"), std::string::npos) << "nothing is drawn in place: " << present;
    receiver.upTo("\x1b[31mno data\x1b[0m");
    receiver.resize(30);
    receiver.upTo("\x1b[J");
    receiver.upTo("\x1b[J");
    const std::string narrow = receiver.upTo("\x1b[J");
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 2) {
        end = narrow.find("\r\n", begin);
        EXPECT_LE(narrow.substr(begin, end - begin).size(), 29U + std::string("\x1b[31m\x1b[0m").size()) << narrow;
    }
    receiver.interrupt();
    const std::string rest = receiver.rest();
    const auto summary = rest.rfind("\x1b[Jcommand     mcgate receive udp://@127.0.0.1:5000 --timeout 2000\r\n");
    ASSERT_NE(summary, std::string::npos) << rest;
    EXPECT_NE(rest.find("gone 1 time, ", summary), std::string::npos) << rest;
    EXPECT_EQ(rest.find(" total "), std::string::npos) << "the summary has it: " << rest;
}

TEST_F(Telling, NoColourMeansNoneAndADumbTerminalIsNone) {
    OnTerminal colourless({"receive", kFrom, "--duration", "1.5"}, {"TERM=xterm", "NO_COLOR=1"}, 80);
    const std::string drawn = colourless.rest();
    EXPECT_NE(drawn.find("\x1b[J"), std::string::npos) << drawn;
    EXPECT_EQ(drawn.find("\x1b[31m"), std::string::npos) << drawn;
    OnTerminal dumb({"receive", kFrom, "--duration", "0.1"}, {"TERM=dumb"}, 80);
    const std::string plain = dumb.rest();
    EXPECT_EQ(plain.find('\x1b'), std::string::npos) << plain;
    EXPECT_NE(plain.find("receive total "), std::string::npos) << plain;
}

/// The value of the metric of the one stream; -1 where there is none.
double valueOf(const std::string& page, const std::string& metric) {
    const std::string begin = "\n" + metric + "{graph=\"receive\",kind=\"receive\"";
    const auto line = page.find(begin);
    return line == std::string::npos ? -1 : std::strtod(page.c_str() + page.find("} ", line) + 2, nullptr);
}

TEST_F(Telling, MetricsAreTheFiguresOfTheReport) {
    test::Notes<Json> reports;
    const std::vector<std::string> command{MCGATE_COMMAND, "receive",        kFrom,      "--timeout", "2000",
                                           "--metrics",    "127.0.0.1:9100", "--report", "json"};
    Child receiver(command, [&](const std::string& line) {
        Json object = Json::parse(line, nullptr, false);
        if (object.is_object() && object.contains("time_s")) reports.add(std::move(object));
    });
    const auto waitUntilSilent = [&](std::uint64_t datagrams) {
        return reports.waitFor([datagrams](const std::vector<Json>& all) {
            return !all.empty() && all.back()["datagrams"] >= datagrams && all.back()["data_present"] == false;
        });
    };
    ASSERT_TRUE(waitUntilSilent(0));
    send();
    ASSERT_TRUE(waitUntilSilent(1));
    httplib::Client client("127.0.0.1", 9100);
    const auto page = client.Get("/metrics");
    ASSERT_TRUE(page);
    receiver.stop();
    EXPECT_EQ(receiver.wait(), 0);
    const Json last = reports.all().back();
    ASSERT_TRUE(last.contains("final")) << last;
    const std::pair<const char*, const char*> counts[] = {{"mcgate_datagrams_received_total", "datagrams"},
                                                          {"mcgate_received_bytes_total", "bytes"},
                                                          {"mcgate_kernel_drops_total", "kernel_drops"},
                                                          {"mcgate_continuity_errors_total", "continuity_errors"},
                                                          {"mcgate_buffer_full_total", "buffer_full_notices"}};
    for (const auto& [metric, field] : counts) EXPECT_EQ(valueOf(page->body, metric), last[field]) << page->body;
    EXPECT_EQ(valueOf(page->body, "mcgate_data_outages_total"), 1) << page->body;
    EXPECT_EQ(valueOf(page->body, "mcgate_data_present"), 0) << page->body;
    EXPECT_NEAR(valueOf(page->body, "mcgate_spacing_error_seconds") * 1000,
                last["spacing_error_ms"]["median"].get<double>(), 1e-4)
        << page->body;
}

}  // namespace
