#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/stream.h"

namespace mcgate::platform {

/// A stream over bytes in memory: reads from the front on, writes behind the end.
class MemoryStream final : public CountedStream {
public:
    static ComPtr<MemoryStream> create(std::vector<std::uint8_t> content = {});

    HRESULT Read(void* buffer, std::uint32_t size, std::uint32_t* read) override;
    /// E_OUTOFMEMORY, and nothing written, when there is no room.
    HRESULT Write(const void* data, std::uint32_t size, std::uint32_t* written) override;

    const std::vector<std::uint8_t>& content() const noexcept { return content_; }

private:
    explicit MemoryStream(std::vector<std::uint8_t> content) noexcept : content_(std::move(content)) {}

    std::vector<std::uint8_t> content_;
    std::size_t place_ = 0;  ///< of the next read
};

}  // namespace mcgate::platform
