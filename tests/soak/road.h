#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "graph/filter_graph.h"
#include "interfaces/i_data_source_listener.h"
#include "interfaces/i_delay_crossing_point_filter.h"
#include "interfaces/i_sender_config.h"
#include "interfaces/i_source_config.h"
#include "soak/number_source.h"
#include "soak/stream_record.h"
#include "streams/stream_log.h"
#include "support/two_hosts.h"

namespace soak {

/// Counts what a receiver tells of its data state.
class NoticeCounter final : public IDataSourceListener {
public:
    void OnDataPresenceChanged(bool present) override { ++(present ? data_ : noData_); }
    void OnReserved() override {}
    std::uint64_t data() const noexcept { return data_.load(); }
    std::uint64_t noData() const noexcept { return noData_.load(); }

private:
    std::atomic<std::uint64_t> data_{0};
    std::atomic<std::uint64_t> noData_{0};
};

/// One receiver of the module with its sink, its record and what it told.
class Reception {
public:
    /// `record` outlives this. `overlooked` is a number that is kept from it, for showing that a loss is seen; 0 for
    /// none.
    Reception(StreamRecord& record, std::uint32_t overlooked) : record_(record), overlooked_(overlooked) {}
    ~Reception();
    Reception(const Reception&) = delete;
    Reception& operator=(const Reception&) = delete;

    void build(mcgate::host::FilterGraph& graph, std::int32_t port, const std::string& local, const std::string& group,
               std::int32_t timeoutMs);
    StreamRecord& record() noexcept { return record_; }
    const NoticeCounter& notices() const noexcept { return notices_; }

private:
    HRESULT take(IMediaSample& sample);

    StreamRecord& record_;
    const std::uint32_t overlooked_;
    NoticeCounter notices_;
    mcgate::platform::ComPtr<ISourceConfig> config_;
};

/// The module's sender in the peer and two receivers here: a group over the first cable, and a unicast stream over the
/// second. Used by the main thread; a start of the sender runs on a thread inside the peer, as sockets belong to the
/// host of the thread that makes them. Errors: std::runtime_error with the step and its status.
class Road {
public:
    Road(const test::TwoHosts& hosts, NumberSource& source, Reception& group, Reception& sound, std::int32_t timeoutMs);
    ~Road();
    Road(const Road&) = delete;
    Road& operator=(const Road&) = delete;

    void start();
    /// What an operator does when the sender's interface is another one: ends the stream, stops, and runs again.
    void restartSender();
    /// Ends the stream and stops the sender.
    void stopSender();

private:
    void buildSender();
    void runSender();

    const test::TwoHosts& hosts_;
    NumberSource& source_;
    mcgate::host::StreamLog log_;
    mcgate::platform::ComPtr<mcgate::host::FilterGraph> receiving_ = mcgate::host::FilterGraph::create();
    mcgate::platform::ComPtr<mcgate::host::FilterGraph> sending_ = mcgate::host::FilterGraph::create();
    mcgate::platform::ComPtr<IBaseFilter> sender_;
};

}  // namespace soak
