#include "check/stream_findings.h"

#include <cstdio>

#include "check/bit_rate_text.h"
#include "platform/socket.h"

namespace mcgate::host {

namespace {

constexpr std::size_t kReceiverRoom = 2048;  // bytes that its samples hold at the least

std::string secondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g s", seconds);
    return text;
}

// What may keep a stream away, the likeliest first.
std::string whyNothing(const Road& road) {
    std::string text = "is the sender running, and does it send to this ";
    text += road.group ? "group and port?" : "address and port?";
    if (road.hasSource()) {
        text += " Does it send from " + platform::numericText(road.source) + " (without SOURCE any sender is heard)?";
    }
    if (road.group) {
        text += road.family() == platform::kFamilyIPv6
                    ? " Does a router or switch of the network send MLD queries (a snooping switch needs a querier)?"
                    : " Does a router or switch of the network send IGMP queries (a snooping switch needs a querier)?";
        text += " Does the sender's TTL reach this host?";
    }
    return text + " A firewall on this host can't be seen from here: look at nft list ruleset";
}

std::string likely(const Heard& heard) {
    if (heard.count(Payload::Rtp) > 0) {
        return "it looks like RTP: let the sender send plain UDP, since the receiver takes the RTP headers for data";
    }
    if (heard.count(Payload::Packets204) > 0) {
        return "it looks like packets of 204 bytes: let the sender leave out the error correction";
    }
    if (heard.count(Payload::Packets192) > 0) {
        return "it looks like packets of 192 bytes: let the sender leave out the time stamps in front of them";
    }
    return "see what else sends to this port; the receiver hands it on as it comes";
}

}  // namespace

Finding streamFinding(const Road& road, const Heard& heard) {
    if (heard.datagrams() == 0) {
        return fault("stream", "nothing came within " + secondsText(heard.listened()), whyNothing(road));
    }
    const std::string seen = std::to_string(heard.datagrams()) + " datagrams, " + std::to_string(heard.bytes()) +
                             " bytes within " + secondsText(heard.listened());
    return ok("stream", heard.bitRate() > 0 ? seen + ", " + bitRateText(heard.bitRate()) : seen);
}

Finding payloadFinding(const Heard& heard) {
    const std::string size = "; the largest datagram has " + std::to_string(heard.largest()) + " bytes";
    if (heard.largest() > kReceiverRoom) {
        return warning("payload", "the largest datagram has " + std::to_string(heard.largest()) + " bytes",
                       "let the sender send at most " + std::to_string(kReceiverRoom) +
                           " bytes in a datagram (7 packets are 1316): longer ones are lost");
    }
    if (heard.isTransportStream()) return ok("payload", "a transport stream" + size);
    const std::uint64_t others = heard.datagrams() - heard.count(Payload::TransportStream);
    return warning("payload",
                   std::to_string(others) + " of " + std::to_string(heard.datagrams()) +
                       " datagrams are no whole packets of a transport stream" + size,
                   likely(heard));
}

}  // namespace mcgate::host
