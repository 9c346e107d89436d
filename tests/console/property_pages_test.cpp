// The property pages of real filters, as a browser's requests meet them.

#include "console/property_pages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include "cli/url.h"
#include "console/not_found.h"
#include "interfaces/i_sender_config.h"
#include "media/host/base_filter.h"
#include "pages/resources.h"
#include "platform/text.h"
#include "support/failure_of.h"
#include "support/plain_sockets.h"
#include "system/receiving_graph.h"

namespace {

using namespace mcgate::host;
using mcgate::platform::BstrPtr;
using mcgate::platform::toNarrow;
using nlohmann::ordered_json;
using test::ComPtr;

constexpr std::uint16_t kPort = 25200;
constexpr std::uint16_t kSilentPort = 25201;

ordered_json controlOf(const ordered_json& dialog, int id) {
    for (const auto& one : dialog.at("controls")) {
        if (one.at("id") == id) return one;
    }
    return nullptr;
}

std::string textOf(const ordered_json& dialog, int id) { return controlOf(dialog, id).at("text"); }

/// The streams of which changes were told.
class Told {
public:
    PropertyPages::Changed sink() {
        return [this](std::uint32_t stream, int, std::uint64_t) { told_.add(stream); };
    }
    /// Looks at the dialog whenever it is told to have changed, until `right` holds.
    bool untilDialog(PropertyPages& pages, std::uint32_t stream,
                     const std::function<bool(const ordered_json&)>& right) {
        do {
            if (!told_.waitFor([&](const auto& all) { return !all.empty() && all.back() == stream; })) return false;
            told_.take();
        } while (!right(pages.dialog(stream, 0)));
        return true;
    }
    std::ptrdiff_t countOf(std::uint32_t stream) {
        const auto all = told_.all();
        return std::count(all.begin(), all.end(), stream);
    }

private:
    test::Notes<std::uint32_t> told_;
};

/// Datagrams to 127.0.0.1, every five milliseconds, until its end.
std::jthread drip(std::uint16_t port) {
    return std::jthread([port](const std::stop_token& end) {
        const test::PlainSocket socket(AF_INET);
        const test::Endpoint to("127.0.0.1", port);
        while (!end.stop_requested()) {
            sendto(socket.get(), "drip", 4, 0, to.get(), to.length);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
}

/// A sender filter; while its pages are being made, something else happens.
class SlowSender final : public CBaseFilter, public ISpecifyPropertyPages {
public:
    SlowSender(ComPtr<IBaseFilter> sender, std::function<void()> meanwhile)
        : CBaseFilter("Slow", nullptr, &filterLock_, GUID_NULL),
          sender_(std::move(sender)),
          meanwhile_(std::move(meanwhile)) {}
    MCGATE_DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(const GUID& id, void** object) override {
        if (id == ISpecifyPropertyPages::iid) return GetInterface(static_cast<ISpecifyPropertyPages*>(this), object);
        if (id == ISenderConfig::iid) return sender_->QueryInterface(id, object);
        return CBaseFilter::NonDelegatingQueryInterface(id, object);
    }
    int GetPinCount() override { return 0; }
    CBasePin* GetPin(int) override { return nullptr; }
    HRESULT GetPages(CAUUID* pages) override {
        meanwhile_();
        return sender_.query<ISpecifyPropertyPages>()->GetPages(pages);
    }

private:
    CCritSec filterLock_;
    const ComPtr<IBaseFilter> sender_;
    const std::function<void()> meanwhile_;
};

struct PropertyPagesTest : testing::Test {
    const test::RegisteredModule& module = test::RegisteredModule::once();
    Told told;
    PropertyPages pages{told.sink()};
    ComPtr<IBaseFilter> sender = mcgate::host::create<IBaseFilter>(CLSID_CNetworkSend);
    ComPtr<ISenderConfig> destinations = sender.query<ISenderConfig>();
};

TEST_F(PropertyPagesTest, WhatIsTypedReachesTheFilterByTheButton) {
    const auto receiver = mcgate::host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
    const auto found = pages.pagesOf(7, {receiver, sender});
    ASSERT_EQ(found.size(), 2U) << "the receiver's second page can't be made";
    EXPECT_EQ(found[0].filter + " " + found[0].title, "receiver Reception");
    EXPECT_EQ(found[1].filter + " " + found[1].title, "sender Destinations");

    std::string labels;
    const auto first = pages.dialog(7, 0);
    for (const auto& one : first.at("controls")) {
        if (one.at("kind") != "label") labels += std::string(one.at("kind")) + " " + std::string(one.at("label")) + ";";
    }
    EXPECT_EQ(labels,
              "combo Local interface;edit Group or address;edit Port;edit Source;edit Time-out (ms);"
              "text Data state;button ;");
    EXPECT_EQ(controlOf(pages.dialog(7, 1), page_ids::kAddress).at("label"), "Send to address 1");
    EXPECT_EQ(controlOf(pages.dialog(7, 1), page_ids::kSecondPort).at("label"), "Port 2");

    pages.setText(7, 0, page_ids::kAddress, "239.255.43.1");
    pages.setText(7, 0, page_ids::kPort, "5004");
    const auto items = controlOf(pages.setText(7, 0, page_ids::kInterface, "127.0.0.1"), page_ids::kInterface);
    EXPECT_EQ(items.at("selection"), -1);
    EXPECT_EQ(textOf(pages.command(7, 0, page_ids::kApply), page_ids::kAddress), "239.255.43.1");
    BstrPtr group, local, source;
    std::uint32_t port = 0;
    const auto config = receiver.query<ISourceConfig>();
    ASSERT_EQ(config->GetSource(group.put(), &port, local.put(), source.put()), S_OK);
    EXPECT_EQ(toNarrow(group.get()) + " " + toNarrow(local.get()) + " " + std::to_string(port),
              "239.255.43.1 127.0.0.1 5004");
    const int any = static_cast<int>(items.at("items").size()) - 2;
    EXPECT_EQ(textOf(pages.select(7, 0, page_ids::kInterface, any), page_ids::kInterface), "any");

    EXPECT_THROW(pages.dialog(8, 0), NotFound);
    EXPECT_THROW(pages.dialog(7, 2), NotFound);
    EXPECT_THROW(pages.setText(7, 0, 4711, ""), NotFound);
    EXPECT_THROW(pages.setText(7, 0, page_ids::kDataState, "Data present"), UsageError);
    EXPECT_THROW(pages.setText(7, 0, page_ids::kAddress, std::string(2000, '1')), UsageError);
    EXPECT_THROW(pages.setText(7, 0, page_ids::kAddress, std::string("1\0", 2)), UsageError);
    EXPECT_THROW(pages.select(7, 0, page_ids::kAddress, 0), UsageError);
    EXPECT_THROW(pages.select(7, 0, page_ids::kInterface, any + 2), UsageError);
    EXPECT_THROW(pages.select(7, 0, page_ids::kInterface, -1), UsageError);
    EXPECT_THROW(pages.command(7, 0, page_ids::kPort), UsageError);
}

TEST_F(PropertyPagesTest, WhatTheFilterChangesShowsAtOnce) {
    const std::jthread dripping = drip(kPort);
    test::ReceivingGraph graph(kPort, "127.0.0.1", "0.0.0.0", "", 300);
    ASSERT_EQ(pages.pagesOf(1, {graph.filter, {}}).size(), 1U);
    graph.start();
    const auto shows = [](int id, const std::string& text) {
        return [=](const ordered_json& dialog) { return textOf(dialog, id) == text; };
    };
    EXPECT_TRUE(told.untilDialog(pages, 1, shows(page_ids::kDataState, "Data present")));
    ASSERT_EQ(graph.config->SetSource(kSilentPort, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
    EXPECT_TRUE(told.untilDialog(pages, 1, shows(page_ids::kPort, std::to_string(kSilentPort))));
    EXPECT_EQ(textOf(pages.dialog(1, 0), page_ids::kDataState), "No data");
    pages.forget(1);
}

TEST_F(PropertyPagesTest, AReloadedPageShowsWhatTheFilterHasAndItsRevisionGoesOn) {
    ASSERT_EQ(pages.pagesOf(1, {{}, sender}).size(), 1U);
    const auto before = pages.setText(1, 0, page_ids::kAddress, "239.255.43.9");
    ASSERT_EQ(destinations->SetDestination(0, u"239.255.43.1", 5004, u"0.0.0.0"), S_OK);
    pages.reload(1);
    const auto after = pages.dialog(1, 0);
    EXPECT_EQ(textOf(after, page_ids::kAddress), "239.255.43.1");
    EXPECT_GT(after.at("revision"), before.at("revision"));

    // A stream whose filters were made anew gets the pages of the new ones.
    const auto other = mcgate::host::create<IBaseFilter>(CLSID_CNetworkSend);
    ASSERT_EQ(pages.pagesOf(1, {{}, other}).size(), 1U);
    EXPECT_EQ(textOf(pages.dialog(1, 0), page_ids::kAddress), "");
}

TEST_F(PropertyPagesTest, WhoAsksWhilePagesAreBeingMadeGetsThemToo) {
    std::future<std::size_t> other;
    ComPtr<IBaseFilter> slow;
    slow = new SlowSender(sender, [&] {
        other = std::async(std::launch::async, [&] { return pages.pagesOf(1, {{}, slow}).size(); });
        other.wait_for(std::chrono::milliseconds(200));  // time enough for a hasty answer
    });
    EXPECT_EQ(pages.pagesOf(1, {{}, slow}).size(), 1U);
    EXPECT_EQ(other.get(), 1U);
}

TEST_F(PropertyPagesTest, AStreamIsForgottenWhileChangesCome) {
    const std::jthread dripping = drip(kPort);
    test::ReceivingGraph graph(kPort, "127.0.0.1", "0.0.0.0", "", 50);
    graph.start();
    std::atomic<std::uint32_t> stream{1};
    std::atomic<bool> ended{false};
    std::thread filter([&] {
        for (bool silent = true; !ended; silent = !silent) {
            graph.config->SetSource(silent ? kSilentPort : kPort, u"127.0.0.1", u"0.0.0.0", u"");
        }
    });
    std::thread browser([&] {
        for (int turn = 0; !ended; ++turn) {
            try {
                const std::uint32_t present = stream;
                pages.setText(present, 0, page_ids::kSource, std::to_string(turn));
                pages.reload(present);
            } catch (const std::runtime_error&) {
                std::this_thread::yield();  // it isn't open yet, or not any more, or its thread is busy
            }
        }
    });
    for (; stream <= 20; ++stream) {
        ASSERT_EQ(pages.pagesOf(stream, {graph.filter, {}}).size(), 1U);
        pages.command(stream, 0, page_ids::kApply);
        pages.forget(stream);
        const auto count = told.countOf(stream);
        EXPECT_THROW(pages.dialog(stream, 0), NotFound);
        EXPECT_TRUE(pages.pagesOf(stream, {graph.filter, {}}).empty());
        pages.reload(stream);
        EXPECT_EQ(told.countOf(stream), count) << "told after it was forgotten";
    }
    ended = true;
    browser.join();
    filter.join();
}

TEST(DialogThread, GivesUpAJobThatCannotBeginAndSaysThatALongOneGoesOn) {
    std::promise<void> begun;
    std::promise<void> go;
    std::atomic<int> done{0};
    DialogThread thread([] { return false; }, std::chrono::seconds(2));
    const auto fault = [&](const std::function<void()>& job) {
        return test::failureOf<std::runtime_error>([&] { thread.run(job); });
    };
    EXPECT_EQ(fault([&] {
                  begun.set_value();
                  go.get_future().wait();
                  ++done;
              }),
              "the filter has not taken the change yet; it goes on");
    begun.get_future().wait();
    EXPECT_EQ(fault([&] { done += 10; }), "the property pages are busy with another request; try again");
    thread.seeTo([&] { done += 100; });
    go.set_value();
    EXPECT_EQ(fault([] { throw std::runtime_error("its own"); }), "its own");
    EXPECT_EQ(done, 101);
}

}  // namespace
