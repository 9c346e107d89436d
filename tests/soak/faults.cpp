#include "soak/faults.h"

#include <numeric>
#include <utility>

namespace soak {

using test::TwoHosts;

const std::array<FaultKind, kFaultKinds> kFaults{{
    {"cable pulled", &TwoHosts::pullCable, &TwoHosts::plugCable, false},
    {"receiver's interface down", &TwoHosts::setDown, &TwoHosts::setUp, false},
    {"receiver's address removed", &TwoHosts::removeAddress, &TwoHosts::restoreAddress, false},
    // The group still arrives at an interface without address; a sender without one falls silent.
    {"sender's address removed", &TwoHosts::removePeersAddress, &TwoHosts::restorePeersAddress, false},
    {"interface made anew", &TwoHosts::deleteInterface, &TwoHosts::makeInterfaceAnew, true},
}};

PlannedFault FaultPlan::next() {
    if (drawn_ == round_.size()) shuffle();
    const auto pause = between(4000, 15000);
    const auto length = between(200, 6000);
    return {round_[drawn_++], pause, length};
}

// Not the standard distributions: theirs may give other numbers from the same seed elsewhere.
std::chrono::milliseconds FaultPlan::between(std::int64_t least, std::int64_t most) {
    const auto span = static_cast<std::uint64_t>(most - least + 1);
    return std::chrono::milliseconds(least + static_cast<std::int64_t>(random_() % span));
}

void FaultPlan::shuffle() {
    std::iota(round_.begin(), round_.end(), std::size_t{0});
    for (std::size_t left = round_.size(); left > 1; --left) std::swap(round_[left - 1], round_[random_() % left]);
    drawn_ = 0;
}

}  // namespace soak
