#pragma once
// Byte streams in which components keep their configuration.

#include <atomic>
#include <cstdint>

#include "platform/unknown.h"

/// A sequence of bytes with a place in it. A stream is used by one thread at a time.
struct IStream : IUnknown {
    static constexpr GUID iid = mcgate::platform::guid("{0000000C-0000-0000-C000-000000000046}");

    /// Reads up to `size` bytes into `buffer`. Fewer than asked are a success, too: a stream that ends gives what it
    /// has, and nothing from then on. `*read`, unless null, is how many came.
    virtual HRESULT Read(void* buffer, std::uint32_t size, std::uint32_t* read) = 0;
    /// Writes `size` bytes; `*written`, unless null, is how many went in, after a failure too.
    virtual HRESULT Write(const void* data, std::uint32_t size, std::uint32_t* written) = 0;

protected:
    ~IStream() = default;
};

namespace mcgate::platform {

/// The counting of the streams here. Starts with no reference; the last Release destroys it on the calling thread.
class CountedStream : public IStream {
public:
    CountedStream() = default;
    CountedStream(const CountedStream&) = delete;
    CountedStream& operator=(const CountedStream&) = delete;

    HRESULT QueryInterface(const GUID& id, void** object) override;
    std::uint32_t AddRef() override { return ++references_; }
    std::uint32_t Release() override;

protected:
    virtual ~CountedStream() = default;

private:
    std::atomic<std::uint32_t> references_{0};
};

}  // namespace mcgate::platform
