#pragma once

#include <gtest/gtest.h>

#include <string>

#include "cli/module_loader.h"
#include "graph/filter_graph.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_source_config.h"
#include "support/presence_listener.h"
#include "support/recording_log.h"
#include "support/registered_module.h"
#include "support/test_filters.h"

namespace test {

/// The receiver before a collector, with a listener. Members may be used at will; the destructor stops in order.
struct ReceivingGraph {
    const RegisteredModule& module = RegisteredModule::once();
    PresenceListener presence;
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
