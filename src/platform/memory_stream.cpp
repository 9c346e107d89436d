#include "platform/memory_stream.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace mcgate::platform {

ComPtr<MemoryStream> MemoryStream::create(std::vector<std::uint8_t> content) {
    return ComPtr<MemoryStream>(new MemoryStream(std::move(content)));
}

HRESULT MemoryStream::Read(void* buffer, std::uint32_t size, std::uint32_t* read) {
    const std::size_t count = std::min<std::size_t>(size, content_.size() - place_);
    if (count > 0) std::memcpy(buffer, content_.data() + place_, count);
    place_ += count;
    if (read != nullptr) *read = static_cast<std::uint32_t>(count);
    return S_OK;
}

HRESULT MemoryStream::Write(const void* data, std::uint32_t size, std::uint32_t* written) {
    if (written != nullptr) *written = 0;
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    try {
        content_.insert(content_.end(), bytes, bytes + size);
    } catch (const std::exception&) {  // no memory, or more than a vector can hold
        return E_OUTOFMEMORY;
    }
    if (written != nullptr) *written = size;
    return S_OK;
}

}  // namespace mcgate::platform
