#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

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
    std::optional<std::string> priority;       ///< that the sender's threads got
    std::map<std::string, bool> interfaces;    ///< behind the destinations, by name; true: up
    std::optional<PacketReader::Place> input;  ///< how far a sender's input has been read
    struct Spacing {
        double medianMs = 0;
        double p99Ms = 0;
        double maxMs = 0;
        double lastP99Ms = 0;  ///< within the last whole second of the stream
    };
    std::optional<Spacing> spacing;

    /// Takes over what a meter found.
    void measure(const StreamMeter::Figures& figures);
    /// Takes over what is no longer known of a receiver that was stopped: its data state, and its socket's drops.
    void keepWhatAStopTakes(const StreamValues& before);
};

}  // namespace mcgate::host
