#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "cli/module_loader.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_source_config.h"
#include "support/recording_log.h"
#include "support/registered_module.h"
#include "support/test_filters.h"

namespace test {

/// Writes down what the receiver tells of its data state, and when.
class Presence final : public IDataSourceListener {
public:
    using Clock = std::chrono::steady_clock;

    void OnDataPresenceChanged(bool present) override {
        const std::lock_guard hold(lock_);
        told_.push_back({present, Clock::now()});
        changed_.notify_all();
    }
    void OnReserved() override {}

    /// Time at which `present` was told first after `from`; fails the test and gives `from` when it was not told in
    /// time.
    Clock::time_point waitFor(bool present, Clock::time_point from, std::chrono::milliseconds deadline) {
        std::unique_lock hold(lock_);
        Clock::time_point found = from;
        const auto heard = [&] {
            for (const auto& one : told_) {
                if (one.present != present || one.when <= from) continue;
                found = one.when;
                return true;
            }
            return false;
        };
        EXPECT_TRUE(changed_.wait_until(hold, from + deadline, heard))
            << (present ? "data" : "no data") << " was not told within " << deadline.count() << " ms";
        return found;
    }

    int count(bool present) {
        const std::lock_guard hold(lock_);
        int found = 0;
        for (const auto& one : told_) found += one.present == present ? 1 : 0;
        return found;
    }

private:
    struct Told {
        bool present;
        Clock::time_point when;
    };
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<Told> told_;
};

/// The receiver before a collector, with a listener. Members may be used at will; the destructor stops in order.
struct ReceivingGraph {
    const RegisteredModule& module = RegisteredModule::once();
    Presence presence;
    RecordingLog log;
    ComPtr<IBaseFilter> filter = mcgate::host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
    ComPtr<ISourceConfig> config = filter.query<ISourceConfig>();
    ComPtr<CollectingFilter> collector;
    PinConnection connection{mcgate::host::findPin(*filter, PINDIR_OUTPUT).get(), collector->input()};

    ReceivingGraph(std::uint16_t port, const std::string& local, const std::string& group, const std::string& source,
                   std::int32_t timeoutMs = 5000, std::vector<CMediaType> types = {})
        : collector(new CollectingFilter(std::move(types))) {
        using mcgate::platform::toWide;
        config->SetLogPerf(&log);
        config->SetDataSourceListener(&presence);
        config->SetTimeout(timeoutMs);
        EXPECT_EQ(config->SetSource(port, toWide(local).c_str(), toWide(group).c_str(), toWide(source).c_str()), S_OK);
    }
    ~ReceivingGraph() {
        stop();
        config->RemoveDataSourceListener(&presence);
        config->SetLogPerf(nullptr);
    }
    void start() {
        EXPECT_EQ(collector->Run(0), S_OK);
        EXPECT_EQ(filter->Run(0), S_OK);
    }
    /// As a graph goes from running to stopped. The pause is what ends reception.
    void stop() {
        collector->release();
        collector->letGo();
        FILTER_STATE state = State_Stopped;
        if (SUCCEEDED(filter->GetState(0, &state)) && state != State_Stopped) filter->Pause();
        filter->Stop();
        collector->Stop();
    }
    std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (const auto& sample : collector->samples()) result.emplace_back(sample.bytes.begin(), sample.bytes.end());
        return result;
    }
};

}  // namespace test
