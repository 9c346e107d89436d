#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "soak/fault_log.h"
#include "soak/road.h"
#include "soak/soak_report.h"

namespace soak {

struct SoakOptions {
    std::chrono::milliseconds length{600'000};
    std::uint64_t seed = 0;
    bool faults = true;
    std::uint32_t overlooked = 0;  ///< a number of the group that its sink keeps to itself; 0 for none
};

/// One soak: builds the network and the road, makes and mends faults until its time is over or a stop signal comes, and
/// reports. Used by the main thread of a process in a private network.
class Soak {
public:
    explicit Soak(const SoakOptions& options);

    SoakReport run();

private:
    static constexpr std::int32_t kTimeoutMs = 2000;
    static constexpr std::int64_t kBackMs = kTimeoutMs + 5000;

    void awaitFirstData();
    void suffer(const PlannedFault& planned);
    void awaitReturn(const FaultKind& kind);
    void finish();
    SoakReport report() const;
    bool pass(std::chrono::milliseconds length);
    bool await(const std::function<bool()>& condition, std::chrono::milliseconds deadline);
    void nap();
    bool over() const;

    const SoakOptions options_;
    const SoakTime time_;
    const test::TwoHosts hosts_;
    Handovers handovers_;
    FaultLog faults_{kBackMs};
    StreamRecord groupRecord_{"group", time_, handovers_, &faults_};
    StreamRecord soundRecord_{"sound", time_, handovers_, nullptr};
    NumberSource source_{time_, handovers_};
    Reception group_;
    Reception sound_{soundRecord_, 0};
    Road road_;
    std::optional<ProcessState> atFirst_;
    ProcessState atLast_;
    std::int64_t nextProgress_ = 0;
    std::string doing_ = "warm-up";
    std::uint64_t faultCount_ = 0;
};

}  // namespace soak
