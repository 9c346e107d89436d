#pragma once

#include "media/oob_media_sample.h"

namespace test {

/// A sample of a foreign pool, which knows the first interface alone, or the second, too.
class PlainSample final : public COOBMediaSample {
public:
    PlainSample(std::uint8_t* buffer, std::int32_t bytes, bool second = false)
        : COOBMediaSample(buffer, bytes), second_(second) {}
    HRESULT QueryInterface(const GUID& id, void** object) override {
        if (id == IMediaSample::iid || id == IUnknown::iid || (second_ && id == IMediaSample2::iid)) {
            return COOBMediaSample::QueryInterface(id, object);
        }
        *object = nullptr;
        return E_NOTIMPL;
    }

private:
    const bool second_;
};

}  // namespace test
