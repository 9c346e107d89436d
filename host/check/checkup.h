#pragma once

#include <optional>
#include <vector>

#include "check/finding.h"
#include "check/heard.h"
#include "check/interfaces.h"
#include "check/machine.h"
#include "check/road.h"
#include "check/socket_findings.h"

namespace mcgate::host {

/// One look at whether a road can work on a machine: asks the machine and makes each finding of its answers. What a
/// fault before makes pointless is left out. One thread.
class Checkup {
public:
    struct Options {
        double seconds = 3;         ///< to listen, for a reception
        std::uint64_t bitRate = 0;  ///< of the stream, payload bits a second; 0: as measured
    };

    Checkup(const Road& road, const Options& options, Machine& machine)
        : road_(road), options_(options), machine_(machine) {}
    Checkup(const Checkup&) = delete;
    Checkup& operator=(const Checkup&) = delete;

    /// Once. Throws std::runtime_error when the system doesn't even tell its interfaces.
    void run();

    const std::vector<Finding>& findings() const noexcept { return findings_; }
    /// The worst of them.
    Verdict verdict() const;
    /// Name of the interface in question; empty when there is none, or all are.
    std::string interfaceName() const { return interface_ != nullptr ? interface_->name : std::string(); }
    /// What came; nothing when it wasn't listened.
    const std::optional<Heard>& heard() const noexcept { return heard_; }

private:
    void findInterface();
    void chooseByRoute();
    void lookAtInterface();
    void lookAtRoute();
    void lookAtPort();
    void listen();
    void lookAtReversePath();
    void lookAtPrivileges();
    void add(Finding finding) { findings_.push_back(std::move(finding)); }
    bool reportsByHand() const;
    bool hopeless() const { return verdict() == Verdict::Fault; }

    Road road_;  ///< with the local address that the system chose where the URL leaves it open
    const Options options_;
    Machine& machine_;
    std::vector<Interface> all_;
    const Interface* interface_ = nullptr;  ///< in all_
    bool chosenByRoute_ = false;
    std::optional<std::uint64_t> droppedBefore_;
    std::optional<Heard> heard_;
    std::vector<Finding> findings_;
};

}  // namespace mcgate::host
