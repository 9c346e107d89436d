#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ts/packet_reader.h"
#include "ts/stream_meter.h"

namespace mcgate::host {

/// What a stream has to tell at one moment, counted since it was started. Absent values don't apply, or were not
/// measured.
struct StreamValues {
    std::optional<std::uint64_t> datagrams;
    std::optional<std::uint64_t> bytes;
    std::optional<std::uint64_t> receivedDatagrams;  ///< where what is received and what is sent are two things
    std::optional<std::uint64_t> receivedBytes;
    std::optional<std::uint64_t> droppedSamples;
    std::optional<std::uint64_t> kernelDrops;
    std::string kernelDropsHint;  ///< what would help against them; empty without drops
    std::optional<std::uint64_t> continuityErrors;
    bool dataPresent = false;
    std::uint64_t dataOutages = 0;  ///< how often data that had been present went away
    std::optional<int> holdBackMs;
    std::optional<std::uint64_t> queuedSamples;
    std::optional<std::uint64_t> bufferFullNotices;
    std::optional<std::string> priority;     ///< that the sender's threads got
    std::map<std::string, bool> interfaces;  ///< behind the destinations, by name; true: up
    struct Destination {
        std::string url;
        std::string fault;  ///< why what is sent there is lost; empty: the system has a way
        bool isLost() const noexcept { return !fault.empty(); }
    };
    std::vector<Destination> destinations;         ///< of a sender
    std::optional<PacketReader::Place> input;      ///< how far a sender's input has been read
    std::optional<SpacingMeter::Figures> spacing;  ///< of what came; of a sender alone, of what left

    std::vector<Destination> lostDestinations() const;
    /// Such as "udp://10.0.0.9:5000: the system has no way to 10.0.0.9"; empty where none is lost.
    std::string lostText() const;
    /// Takes over what a meter found.
    void measure(const StreamMeter::Figures& figures);
    /// Takes over what is no longer known of a receiver that was stopped: its data state, and its socket's drops.
    void keepWhatAStopTakes(const StreamValues& before);
};

}  // namespace mcgate::host
