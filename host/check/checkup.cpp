#include "check/checkup.h"

#include <algorithm>

#include "check/interface_findings.h"
#include "check/privilege_findings.h"
#include "check/route_findings.h"
#include "check/stream_findings.h"

namespace mcgate::host {

void Checkup::run() {
    all_ = machine_.interfaces();
    findInterface();
    if (interface_ != nullptr) lookAtInterface();
    if (!hopeless()) lookAtRoute();
    if (road_.receives() && !hopeless()) lookAtPort();
    if (road_.receives() && !hopeless()) listen();
    if (road_.receives() && interface_ != nullptr) lookAtReversePath();
    lookAtPrivileges();
}

Verdict Checkup::verdict() const {
    Verdict worst = Verdict::Ok;
    for (const auto& finding : findings_) worst = std::max(worst, finding.verdict);
    return worst;
}

void Checkup::findInterface() {
    if (const auto* address = road_.withoutItsLink()) {
        add(noLinkFinding(*address));
    } else if (!road_.hasLocal()) {
        chooseByRoute();
    } else if (isAny(road_.local)) {
        add(anyInterfaceFinding(all_));
    } else {
        interface_ = carrierOf(road_.local, all_);
        add(interfaceFinding(road_.local, interface_, all_));
    }
}

// As the command does where the URL names none.
void Checkup::chooseByRoute() {
    const RouteAnswer answer = machine_.routeTo(road_.remote, {}, 0);
    chosenByRoute_ = true;
    add(routeFinding(road_, answer, nullptr, all_));
    if (!answer.open) return;
    road_.local = answer.source;
    const auto by = [&](const auto& one) { return one.index == answer.interfaceIndex; };
    const auto found = std::find_if(all_.begin(), all_.end(), by);
    if (found != all_.end()) interface_ = &*found;
}

void Checkup::lookAtInterface() {
    add(linkFinding(*interface_));
    if (road_.group) add(multicastFinding(*interface_));
}

// The sender's group leaves by the interface it is told; its unicast, from the local address by the system's routes.
void Checkup::lookAtRoute() {
    if (chosenByRoute_ || interface_ == nullptr) return;
    if (!road_.receives()) {
        RouteAnswer answer = road_.group ? machine_.routeTo(road_.remote, {}, interface_->index)
                                         : machine_.routeTo(road_.remote, road_.local, 0);
        answer.source = road_.local;  // the sender binds to it, whatever the system would choose
        add(routeFinding(road_, answer, interface_, all_));
    } else if (reportsByHand()) {
        add(reportRouteFinding(road_, machine_.routeTo(road_.remote, {}, 0), *interface_, all_));
    }
}

// Behind the loopback interface stands no switch that a report could wake.
bool Checkup::reportsByHand() const {
    return road_.reportsByHand() && (interface_ == nullptr || !interface_->loopback);
}

void Checkup::lookAtPort() {
    const std::uint32_t index = interface_ != nullptr ? interface_->index : 0;
    add(portFinding(road_, machine_.openPort(road_, index, kReceiverBuffer)));
}

void Checkup::listen() {
    droppedBefore_ = machine_.reversePathDrops();
    heard_ = machine_.listen(options_.seconds);
    add(streamFinding(road_, *heard_));
    if (heard_->datagrams() > 0) add(payloadFinding(*heard_));
    const bool given = options_.bitRate > 0;
    add(bufferFinding(machine_.receiveBuffer(),
                      {given ? static_cast<double>(options_.bitRate) : heard_->bitRate(), given, heard_->largest()}));
}

// Only IPv4 has this filter, and what a host sends to itself by the loopback interface passes it.
void Checkup::lookAtReversePath() {
    if (road_.family() != platform::kFamilyIPv4 || interface_->loopback) return;
    ReversePath path;
    path.mode = machine_.reversePathMode(interface_->name);
    if (road_.hasSource()) path.toSource = machine_.routeTo(road_.source, {}, 0);
    path.listened = heard_.has_value();
    path.heard = path.listened && heard_->datagrams() > 0;
    const auto now = machine_.reversePathDrops();
    if (path.listened && now && droppedBefore_) path.dropped = *now - *droppedBefore_;
    add(reversePathFinding(road_, path, *interface_, all_));
}

void Checkup::lookAtPrivileges() {
    const std::string program = machine_.programPath();
    if (reportsByHand()) add(reportsFinding(machine_.mayReport(), program));
    add(priorityFinding(road_.direction, machine_.priorityGranted(priorityWanted(road_.direction)), program));
}

}  // namespace mcgate::host
