#include "check/socket_findings.h"

#include <cmath>

#include "check/bit_rate_text.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

constexpr double kHoldMs = 100;  // a write to a busy disk takes as long
constexpr std::size_t kUsualDatagram = 1316;

std::string placeOf(const Road& road) {
    const auto& address = road.group ? road.remote : road.local;
    const std::string text = platform::numericText(address);
    return "port " + std::to_string(road.port) + " of " + text;
}

// The kernel charges each datagram with the memory that it takes, and grants twice the bytes asked for.
double datagramsIn(std::int64_t granted, std::size_t size) {
    constexpr double kSmallCost = 832;
    constexpr double kUsualCost = 2304;
    constexpr double kOverhead = 804;
    const double cost = size <= 188 ? kSmallCost : size <= 1500 ? kUsualCost : static_cast<double>(size) + kOverhead;
    return 2 * static_cast<double>(granted) / cost;
}

// Milliseconds of the stream that the buffer holds.
double holdMs(std::int64_t granted, double bitRate, std::size_t size) {
    return datagramsIn(granted, size) * static_cast<double>(size) * 8 / bitRate * 1000;
}

std::string wholeMs(double milliseconds) { return std::to_string(std::lround(milliseconds)) + " ms"; }

}  // namespace

Finding portFinding(const Road& road, const PortAnswer& answer) {
    using State = PortAnswer::State;
    const std::string place = placeOf(road);
    switch (answer.state) {
        case State::Free:
            return ok("port", place + ": free");
        case State::Shared:
            return ok("port", place + ": shared with " + answer.holders + "; each gets every datagram");
        case State::Taken:
            return fault("port", place + ": taken by " + answer.holders,
                         road.group
                             ? "end that one, let it share the port (SO_REUSEADDR), or take another port"
                             : "end that one or take another port: of two on a unicast port each datagram goes to one");
        case State::Forbidden:
            return fault(
                "port", place + ": not allowed to this program",
                "take a port from net.ipv4.ip_unprivileged_port_start on (1024 unless it was changed), or give "
                "the program CAP_NET_BIND_SERVICE");
        case State::Failed:
            break;
    }
    return fault("port", place + ": " + answer.reason, "look at the address and at the interface's state");
}

Finding bufferFinding(std::int64_t granted, const StreamRate& rate) {
    const std::string seen =
        std::to_string(granted) + " bytes granted of the " + std::to_string(kReceiverBuffer) + " that are asked for";
    const std::string raise = "sysctl -w net.core.rmem_max=" + std::to_string(kReceiverBuffer) +
                              ", and a line net.core.rmem_max=" + std::to_string(kReceiverBuffer) +
                              " in /etc/sysctl.d to keep it";
    const bool whole = granted >= kReceiverBuffer;
    const std::size_t size = rate.datagramSize > 0 ? rate.datagramSize : kUsualDatagram;
    if (rate.bitRate <= 0) {
        const double most = holdMs(granted, 1, size) / kHoldMs;
        const std::string enough = seen + "; holds " + wholeMs(kHoldMs) + " of a stream of up to " + bitRateText(most);
        return whole ? ok("buffer", enough) : warning("buffer", enough, raise);
    }
    const double held = holdMs(granted, rate.bitRate, size);
    const std::string holds = seen + "; holds " + wholeMs(held) + " of the " + bitRateText(rate.bitRate) +
                              (rate.given ? " given" : " measured");
    if (held >= kHoldMs) return ok("buffer", holds);
    if (!whole) return warning("buffer", holds, raise);
    return warning("buffer", holds,
                   "a larger net.core.rmem_max won't help, since no more is asked for: what takes the stream must not "
                   "stall that long (a fast disk, a high priority), or the stream must be split");
}

}  // namespace mcgate::host
