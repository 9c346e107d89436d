#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace mcgate::host {

/// The longest time-out of a profile, and the shortest one of a relay.
constexpr std::int32_t kMostTimeoutMs = 3'600'000;
constexpr std::int32_t kLeastRelayTimeoutMs = 1000;

/// What a sending graph reads and where it sends it.
struct SendSettings {
    std::string input;            ///< a file, a named pipe, or "-" for standard input
    std::vector<std::string> to;  ///< URLs as in udp://ADDRESS:PORT[?local=ADDRESS]
    std::int64_t offsetMs = 0;    ///< hold-back
    bool pacing = true;
    bool loop = false;  ///< begin again at the end of the file

    bool operator==(const SendSettings&) const = default;
};

/// What a receiving graph joins and where it writes it.
struct ReceiveSettings {
    std::string input;  ///< URL as in udp://[SOURCE]@[ADDRESS]:PORT[?local=ADDRESS]
    std::string out;    ///< a file, a named pipe, or "-" for standard output; empty: the stream is only measured
    std::int32_t timeoutMs = 5000;
    bool newFile = false;  ///< `out` is a file that it makes itself; profiles don't have it
    bool emptied = false;  ///< `out` is emptied by the first run, else written on; profiles don't have it

    bool operator==(const ReceiveSettings&) const = default;
};

/// What a relaying graph joins and where it sends it on.
struct RelaySettings {
    std::string input;            ///< URL as of ReceiveSettings
    std::vector<std::string> to;  ///< URLs as of SendSettings
    std::int64_t offsetMs = 40;
    bool pacing = true;
    bool privateStream = false;  ///< the private time-stamped stream
    std::int32_t timeoutMs = 5000;

    bool operator==(const RelaySettings&) const = default;
};

enum class StreamKind { Send, Receive, Relay };
enum class StreamState { Stopped, Paused, Running };

/// As profiles have them: "send", "receive", "relay"; "stopped", "paused", "running".
const char* nameOf(StreamKind kind) noexcept;
const char* nameOf(StreamState state) noexcept;

/// One graph of a profile.
struct StreamSettings {
    std::string name;                          ///< unique in its profile
    StreamState start = StreamState::Running;  ///< what it is brought to when the profile is taken
    std::variant<SendSettings, ReceiveSettings, RelaySettings> of;

    StreamKind kind() const noexcept { return static_cast<StreamKind>(of.index()); }
    bool operator==(const StreamSettings&) const = default;
};

}  // namespace mcgate::host
