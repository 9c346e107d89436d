#include "streams/stream_settings.h"

#include <array>

namespace mcgate::host {

const char* nameOf(StreamKind kind) noexcept {
    constexpr std::array kNames{"send", "receive", "relay"};
    return kNames.at(static_cast<std::size_t>(kind));
}

const char* nameOf(StreamState state) noexcept {
    constexpr std::array kNames{"stopped", "paused", "running"};
    return kNames.at(static_cast<std::size_t>(state));
}

}  // namespace mcgate::host
