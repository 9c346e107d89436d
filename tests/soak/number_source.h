#pragma once

#include <atomic>
#include <thread>

#include "interfaces/i_delay_crossing_point_filter.h"
#include "soak/handovers.h"
#include "soak/soak_time.h"
#include "support/test_filters.h"

namespace soak {

using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::IDelayCrossingCallback;

/// Hands 1500 numbered samples a second to the sender, each with its time stamp and data id, a little before its time.
/// Numbers go on from run to run; each run begins with a discontinuity.
///
/// Threads: the owner's; a streaming thread from start until drained, or until its graph is torn down; the sender's
/// calls OnDataCrossing at its output, so plug this in there.
class NumberSource final : public IDelayCrossingCallback {
public:
    /// Both outlive the source.
    NumberSource(const SoakTime& time, Handovers& handovers);

    test::FeedingFilter& filter() noexcept { return *feeder_; }
    /// To be called when the graph runs.
    void start();
    /// Ends the stream without loss, as an operator would before a stop: returns when the sender has sent the last
    /// number. False when it did not in five seconds, or refused a sample.
    bool drain();
    /// False once a sample was refused or not sent.
    bool healthy() const noexcept { return healthy_.load(); }

    void OnReserved() override {}
    void OnDataCrossing(std::uint64_t dataId) override {
        handovers_.left(dataId, time_.now());
        sent_.store(dataId);
    }

private:
    void stream(const std::stop_token& ending);
    bool deliver(std::uint32_t number, std::int64_t time, bool discontinuity);
    bool waitUntilSent(std::uint32_t number);

    const SoakTime& time_;
    Handovers& handovers_;
    const test::ComPtr<test::FeedingFilter> feeder_;
    std::atomic<std::uint64_t> sent_{0};
    std::atomic<bool> healthy_{true};
    std::jthread thread_;
};

}  // namespace soak
