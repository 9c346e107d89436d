#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "cli/module_loader.h"
#include "filters/transport_stream_type.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_sender_config.h"
#include "support/recording_log.h"
#include "support/registered_module.h"
#include "support/test_filters.h"

namespace test {

/// The sender behind a feeder whose samples, one datagram each, begin with the numbers from 1 on.
class SendingGraph {
public:
    struct Destination {
        std::string remote;
        std::string local;
    };

    SendingGraph(const std::vector<Destination>& destinations, std::uint16_t port) {
        using mcgate::platform::toWide;
        config->SetLogPerf(&log);
        config->EnablePacing(0);  // the feeder keeps the pace
        for (const auto& one : destinations) {
            std::int32_t index = -1;
            EXPECT_EQ(config->AddDestination(toWide(one.remote).c_str(), port, toWide(one.local).c_str(), &index),
                      S_OK);
        }
        EXPECT_EQ(connection.status(), S_OK);
    }
    ~SendingGraph() {
        stop();
        connection.disconnect();
        config->SetLogPerf(nullptr);
    }
    void start() {
        ASSERT_EQ(filter->Run(0), S_OK);
        ASSERT_EQ(feeder->Run(0), S_OK);
        thread_ = std::jthread([this](const std::stop_token& ending) { feed(ending); });
    }
    void stop() {
        if (!thread_.joinable()) return;
        thread_ = {};  // asks it to end, and waits
        EXPECT_EQ(filter->Stop(), S_OK);
        EXPECT_EQ(feeder->Stop(), S_OK);
    }
    /// What a host does to open the sockets anew.
    void restart() {
        stop();
        start();
    }
    std::uint32_t last() const { return last_; }
    /// How many samples took more than 100 ms from the feeder's hands.
    int slowDeliveries() const { return slow_.load(); }

    const RegisteredModule& module = RegisteredModule::once();
    RecordingLog log;
    ComPtr<IBaseFilter> filter = mcgate::host::create<IBaseFilter>(CLSID_CNetworkSend);
    ComPtr<ISenderConfig> config = filter.query<ISenderConfig>();

private:
    void feed(const std::stop_token& ending) {
        using Clock = std::chrono::steady_clock;
        std::vector<std::uint8_t> bytes(1316, 0x47);
        auto next = Clock::now();
        while (!ending.stop_requested()) {
            const std::uint32_t number = last_ + 1;
            std::memcpy(bytes.data(), &number, sizeof number);
            const auto begin = Clock::now();
            if (FAILED(feeder->deliver(bytes))) return;
            if (Clock::now() - begin > std::chrono::milliseconds(100)) ++slow_;
            last_ = number;
            // Late ones are not made up for: they would find the pool dry.
            next = std::max(next + std::chrono::milliseconds(2), Clock::now());
            std::this_thread::sleep_until(next);
        }
    }

    ComPtr<FeedingFilter> feeder{new FeedingFilter(mcgate::host::transportStreamType(0), 256)};
    PinConnection connection{feeder->output(), mcgate::host::findPin(*filter, PINDIR_INPUT).get()};
    std::atomic<std::uint32_t> last_{0};
    std::atomic<int> slow_{0};
    std::jthread thread_;
};

}  // namespace test
