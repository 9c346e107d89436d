#include "media/host/persist_stream.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "foundation/status.h"

using mcgate::foundation::statusOfCurrentException;

namespace {

constexpr std::size_t kVersionUnits = 12;

void writeVersion(IStream& stream, std::int32_t version) {
    char text[kVersionUnits + 1];
    std::snprintf(text, sizeof text, "%011d ", version);
    std::array<std::uint8_t, 2 * kVersionUnits> units{};
    for (std::size_t i = 0; i < kVersionUnits; ++i) units[2 * i] = static_cast<std::uint8_t>(text[i]);
    mcgate::media::writeField(stream, units);
}

char16_t readUnit(IStream& stream) {
    std::array<std::uint8_t, 2> unit{};
    std::uint32_t count = 0;
    const HRESULT status = stream.Read(unit.data(), unit.size(), &count);
    if (FAILED(status)) ThrowStatus(status);
    if (count < unit.size()) ThrowStatus(VFW_E_INVALID_FILE_FORMAT);
    return static_cast<char16_t>(unit[0] | unit[1] << 8);
}

void passVersion(IStream& stream) {
    constexpr std::u16string_view kTerminators(u"\0\t\n\r ", 5);
    char16_t unit = readUnit(stream);
    if (unit == u'-') unit = readUnit(stream);
    while (unit >= u'0' && unit <= u'9') unit = readUnit(stream);
    if (kTerminators.find(unit) == std::u16string_view::npos) ThrowStatus(VFW_E_INVALID_FILE_FORMAT);
}

}  // namespace

HRESULT CPersistStream::Load(IStream* stream) {
    if (stream == nullptr) return E_POINTER;
    try {
        passVersion(*stream);
    } catch (...) {
        return statusOfCurrentException();
    }
    return ReadFromStream(stream);
}

HRESULT CPersistStream::Save(IStream* stream, std::int32_t clearDirty) {
    if (stream == nullptr) return E_POINTER;
    try {
        writeVersion(*stream, GetSoftwareVersion());
    } catch (...) {
        return statusOfCurrentException();
    }
    const HRESULT status = WriteToStream(stream);
    if (SUCCEEDED(status)) SetDirty(clearDirty == 0);
    return status;
}

HRESULT CPersistStream::GetSizeMax(std::uint64_t* bytes) {
    if (bytes == nullptr) return E_POINTER;
    *bytes = 2 * kVersionUnits + static_cast<std::uint64_t>(SizeMax());
    return S_OK;
}

namespace mcgate::media {

bool readField(IStream& stream, std::span<std::uint8_t> field) {
    std::fill(field.begin(), field.end(), std::uint8_t{0});
    std::uint32_t count = 0;
    const HRESULT status = stream.Read(field.data(), static_cast<std::uint32_t>(field.size()), &count);
    if (FAILED(status)) ThrowStatus(status);
    return count == field.size();
}

void writeField(IStream& stream, std::span<const std::uint8_t> field) {
    std::uint32_t count = 0;
    const HRESULT status = stream.Write(field.data(), static_cast<std::uint32_t>(field.size()), &count);
    if (FAILED(status)) ThrowStatus(status);
    if (count < field.size()) ThrowStatus(STG_E_MEDIUMFULL);
}

}  // namespace mcgate::media
