#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "soak/fault_log.h"
#include "soak/handovers.h"
#include "soak/soak_time.h"

namespace soak {

/// What arrived of one stream: counts, missing numbers, silence. Nothing grows with time. Threads: the sink's in
/// arrived and damaged, any in figures; one lock, then the fault log's.
class StreamRecord {
public:
    /// `faults` explain losses and are told of data; null for a stream that no fault may touch. All outlive this.
    StreamRecord(std::string name, const SoakTime& time, const Handovers& handovers, FaultLog* faults)
        : name_(std::move(name)), time_(time), handovers_(handovers), faults_(faults) {}

    struct Figures {
        std::uint64_t received = 0;
        std::uint64_t explained = 0;    ///< lost, and a fault tells why
        std::uint64_t unexplained = 0;  ///< lost, and nothing tells why
        std::uint64_t repeated = 0;     ///< came again, or after a later one
        std::uint64_t damaged = 0;
        std::int64_t longestSilenceMs = 0;
        std::uint32_t last = 0;
    };

    void arrived(std::uint32_t number);
    void damaged();
    /// The stream is over, and this was its last number: what did not arrive by now is lost.
    void end(std::uint32_t lastNumber);
    Figures figures() const;
    const std::string& name() const noexcept { return name_; }

private:
    void countMissing(std::uint32_t first, std::uint32_t behind);
    void tell(std::uint32_t first, std::uint32_t last);

    const std::string name_;
    const SoakTime& time_;
    const Handovers& handovers_;
    FaultLog* const faults_;
    mutable std::mutex lock_;
    Figures figures_;
    std::int64_t lastArrival_ = -1;
    int told_ = 0;
};

}  // namespace soak
