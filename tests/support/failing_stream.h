#pragma once

#include <cstdint>
#include <vector>

#include "platform/memory_stream.h"

namespace test {

/// A stream whose call of a given number, reads and writes counted together from 0, fails.
class FailingStream final : public mcgate::platform::CountedStream {
public:
    static constexpr HRESULT kStatus = STG_E_READFAULT;

    explicit FailingStream(int failing, std::vector<std::uint8_t> content = {})
        : failing_(failing), inner_(mcgate::platform::MemoryStream::create(std::move(content))) {}
    HRESULT Read(void* buffer, std::uint32_t size, std::uint32_t* read) override {
        return calls_++ == failing_ ? kStatus : inner_->Read(buffer, size, read);
    }
    HRESULT Write(const void* data, std::uint32_t size, std::uint32_t* written) override {
        return calls_++ == failing_ ? kStatus : inner_->Write(data, size, written);
    }
    const std::vector<std::uint8_t>& content() const { return inner_->content(); }

private:
    const int failing_;
    int calls_ = 0;
    const mcgate::platform::ComPtr<mcgate::platform::MemoryStream> inner_;
};

}  // namespace test
