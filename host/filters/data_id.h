#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "media/host/interfaces.h"

namespace mcgate::host {

/// Gives a sample its data id. False for a sample that takes no side data; it stays without.
inline bool setDataId(IMediaSample& sample, std::uint64_t id) {
    void* found = nullptr;
    if (FAILED(sample.QueryInterface(IMediaSample3::iid, &found))) return false;
    const auto extended = platform::ComPtr<IMediaSample3>::attach(static_cast<IMediaSample3*>(found));
    std::array<std::uint8_t, sizeof id> bytes;
    std::memcpy(bytes.data(), &id, sizeof id);
    extended->SetMetaData(static_cast<std::int32_t>(MediaDataKey::DataId), bytes.data(), sizeof id);
    return true;
}

}  // namespace mcgate::host
