#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>

#include "support/two_hosts.h"

namespace soak {

/// Something that goes wrong with the first cable, and its repair. The receiver is here, the sender in the peer.
struct FaultKind {
    const char* name;
    void (test::TwoHosts::*happen)() const;
    void (test::TwoHosts::*mend)() const;
    bool newInterface;  ///< after the repair there are other interfaces with the old names: the sender starts anew
};

inline constexpr std::size_t kFaultKinds = 5;
extern const std::array<FaultKind, kFaultKinds> kFaults;

/// One fault to come: how long all is well before it, and how long it lasts.
struct PlannedFault {
    std::size_t kind;
    std::chrono::milliseconds pause;
    std::chrono::milliseconds length;
};

/// Draws faults from a seed. Kinds come in rounds, each round in an order of its own, so that a short soak sees most.
class FaultPlan {
public:
    explicit FaultPlan(std::uint64_t seed) : random_(seed) {}
    PlannedFault next();

private:
    std::chrono::milliseconds between(std::int64_t least, std::int64_t most);
    void shuffle();

    std::mt19937_64 random_;
    std::array<std::size_t, kFaultKinds> round_{};
    std::size_t drawn_ = kFaultKinds;
};

}  // namespace soak
