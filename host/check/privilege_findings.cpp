#include "check/privilege_findings.h"

namespace mcgate::host {

namespace {

// setcap replaces what a file had, so that both stand in the one command.
std::string grant(const char* capability, const std::string& program) {
    return std::string("AmbientCapabilities=") + capability + " in the unit that starts it, or setcap " +
           "cap_net_raw,cap_sys_nice+ep " + program + " (its directory must then be known to ldconfig)";
}

}  // namespace

Finding reportsFinding(bool allowed, const std::string& program) {
    if (allowed) return ok("reports", "raw membership reports are allowed");
    return warning("reports",
                   "raw membership reports are not allowed (CAP_NET_RAW): while the stream is silent, a switch that "
                   "forgot the group isn't told anew until the receiver joins again",
                   grant("CAP_NET_RAW", program));
}

int priorityWanted(Road::Direction direction) {
    constexpr int kTimeCritical = 15;
    constexpr int kHighest = 2;
    return direction == Road::Direction::Send ? kTimeCritical : kHighest;
}

Finding priorityFinding(Road::Direction direction, platform::PriorityClass got, const std::string& program) {
    using platform::PriorityClass;
    const bool sends = direction == Road::Direction::Send;
    const char* const wanted = sends ? "real time" : "a better nice value";
    const char* const have = got == PriorityClass::RealTime ? "real time"
                             : got == PriorityClass::Nice   ? "a better nice value"
                                                            : "the normal priority";
    if (got == PriorityClass::RealTime || (!sends && got == PriorityClass::Nice)) return ok("priority", have);
    const char* const limit = sends ? "rtprio 10" : "nice -5";
    return warning("priority", std::string(have) + ", where " + wanted + " is asked for (CAP_SYS_NICE)",
                   std::string("a line `USER - ") + limit + "` in /etc/security/limits.conf, or " +
                       grant("CAP_SYS_NICE", program));
}

}  // namespace mcgate::host
