#pragma once
// Streams of configuration written out by their tables: zeros, and what stands at which place.

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "platform/memory_stream.h"

namespace test {

using Bytes = std::vector<std::uint8_t>;
using Places = std::initializer_list<std::pair<std::size_t, std::initializer_list<std::uint8_t>>>;

/// The version "00000000000 " in UTF-16LE, then zeros up to `size`, then the bytes at their places.
inline Bytes goldenBytes(std::size_t size, Places places) {
    Bytes result(size);
    for (std::size_t i = 0; i < 24; i += 2) result[i] = i < 22 ? 0x30 : 0x20;
    for (const auto& [at, bytes] : places) {
        std::copy(bytes.begin(), bytes.end(), result.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return result;
}

inline Bytes cut(const Bytes& whole, std::size_t size) {
    return {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)};
}

template <class Filter>
HRESULT load(Filter& filter, const Bytes& content) {
    return filter.Load(mcgate::platform::MemoryStream::create(content).get());
}

/// What a save gives; empty when it fails.
template <class Filter>
Bytes saved(Filter& filter) {
    const auto stream = mcgate::platform::MemoryStream::create();
    return SUCCEEDED(filter.Save(stream.get(), 1)) ? stream->content() : Bytes();
}

}  // namespace test
