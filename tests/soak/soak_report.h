#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "soak/fault_log.h"
#include "soak/process_state.h"
#include "soak/stream_record.h"

namespace soak {

/// What one soak showed.
struct SoakReport {
    struct Stream {
        std::string name;
        StreamRecord::Figures figures;
        std::uint64_t noDataNotices = 0;
        std::uint64_t dataNotices = 0;
    };

    std::uint64_t seed = 0;
    double uptimeSeconds = 0;
    std::uint32_t handedOver = 0;  ///< to the sender, which gives each number to both streams
    Stream group;                  ///< over the cable that suffers
    Stream sound;                  ///< over the other
    std::array<FaultLog::Figures, kFaultKinds> faults;
    std::optional<ProcessState> atFirst;  ///< after the warm-up, if that was reached
    ProcessState atLast;

    /// One line for each thing that was not as it must be; empty when the soak was clean.
    std::vector<std::string> failures() const;
    /// To standard output, with the failures and the verdict as the last lines.
    void print() const;

private:
    void printStreams() const;
    void printFaults() const;
    void printProcess() const;
};

}  // namespace soak
