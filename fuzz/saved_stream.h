#pragma once
// The form of a filter's saved configuration, looked at apart from the code under test.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "invariant.h"
#include "media/host/persist_stream.h"
#include "platform/memory_stream.h"
#include "platform/socket_address.h"

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t kVersionSize = 24;

/// What stands behind the version: an optional minus, digits and a terminator, each in two bytes, low byte first.
/// Nothing when there is no such version.
inline std::optional<std::span<const std::uint8_t>> bodyOf(std::span<const std::uint8_t> stream) {
    for (std::size_t at = 0; at + 2 <= stream.size(); at += 2) {
        const unsigned unit = stream[at] + 256U * stream[at + 1];
        if (unit == 0 || unit == 9 || unit == 10 || unit == 13 || unit == 32) return stream.subspan(at + 2);
        const bool isDigit = unit >= '0' && unit <= '9';
        if (!isDigit && (unit != '-' || at != 0)) return std::nullopt;
    }
    return std::nullopt;
}

/// The address block at the offset; what the stream no longer has is zero.
inline mcgate::platform::SocketAddress blockAt(std::span<const std::uint8_t> body, std::size_t offset) {
    mcgate::platform::SocketAddress block;
    const auto rest = body.subspan(std::min(offset, body.size()));
    std::copy_n(rest.begin(), std::min(rest.size(), block.bytes.size()), block.bytes.begin());
    return block;
}

inline HRESULT load(CPersistStream& filter, std::span<const std::uint8_t> content) {
    return filter.Load(mcgate::platform::MemoryStream::create({content.begin(), content.end()}).get());
}

struct Saved {
    HRESULT status;
    Bytes bytes;
};

inline Saved save(CPersistStream& filter) {
    const auto stream = mcgate::platform::MemoryStream::create();
    const HRESULT status = filter.Save(stream.get(), 1);
    invariant(FAILED(status) || filter.IsDirty() == S_FALSE, "a save leaves the filter clean");
    return {status, stream->content()};
}

/// What a filter saved brings the same bytes back.
inline void checkComesBack(CPersistStream& filter, const Bytes& saved) {
    invariant(load(filter, saved) == S_OK, "what was saved can be loaded");
    invariant(save(filter).bytes == saved, "a load and a save change nothing");
}

}  // namespace fuzz
