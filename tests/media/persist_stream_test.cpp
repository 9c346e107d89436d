#include "media/host/persist_stream.h"

#include <gtest/gtest.h>

#include "support/failing_stream.h"
#include "support/golden_bytes.h"

namespace {

using test::Bytes;

/// Keeps one byte; 0xEE stands in it until a load.
class OneByte final : public CPersistStream {
public:
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    HRESULT GetClassID(GUID*) override { return E_NOTIMPL; }
    std::int32_t GetSoftwareVersion() override { return version; }
    std::int32_t SizeMax() override { return 1; }
    HRESULT WriteToStream(IStream* stream) override { return stream->Write(&value, 1, nullptr); }
    HRESULT ReadFromStream(IStream* stream) override { return stream->Read(&value, 1, nullptr); }

    std::uint8_t value = 0xEE;
    std::int32_t version = 0;
};

Bytes units(std::u16string_view text) {
    Bytes bytes;
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return bytes;
}

TEST(PersistStream, AVersionStandsInFrontAndIsPassedOver) {
    OneByte object;
    std::uint64_t size = 0;
    EXPECT_EQ(object.GetSizeMax(&size), S_OK);
    EXPECT_EQ(size, 25U);
    EXPECT_EQ(test::saved(object), test::goldenBytes(25, {{24, {0xEE}}}));
    object.version = -12;
    const Bytes negative = test::saved(object);
    EXPECT_EQ(test::cut(negative, 24), units(u"-0000000012 "));
    EXPECT_EQ(test::load(object, negative), S_OK);

    using namespace std::string_view_literals;
    for (const auto text : {u"00000000000 "sv, u"7\t"sv, u"-1\n"sv, u"99999999999999999999999\r"sv, u"0\0"sv}) {
        object.value = 0;
        Bytes stream = units(text);
        stream.push_back(9);
        EXPECT_EQ(test::load(object, stream), S_OK) << text.size();
        EXPECT_EQ(object.value, 9);
    }
    for (const auto text : {u"0"sv, u"-"sv, u""sv, u"--1 "sv, u"1,"sv, u"1\u2000 "sv, u"\u0130 "sv}) {
        EXPECT_EQ(test::load(object, units(text)), VFW_E_INVALID_FILE_FORMAT) << text.size();
    }
    EXPECT_EQ(test::load(object, {0x30, 0, 0x20}), VFW_E_INVALID_FILE_FORMAT) << "half a code unit";
    EXPECT_EQ(object.value, 9);
}

TEST(PersistStream, TheDirtyMarkFollowsSavesAlone) {
    OneByte object;
    const auto stream = mcgate::platform::MemoryStream::create();
    EXPECT_EQ(object.IsDirty(), S_FALSE);
    object.SetDirty(true);
    EXPECT_EQ(object.Save(stream.get(), 0), S_OK);
    EXPECT_EQ(object.IsDirty(), S_OK);
    for (int call = 0; call < 2; ++call) {
        const mcgate::platform::ComPtr<IStream> failing(new test::FailingStream(call));
        EXPECT_EQ(object.Save(failing.get(), 1), test::FailingStream::kStatus);
        EXPECT_EQ(object.IsDirty(), S_OK);
    }
    EXPECT_EQ(object.Load(stream.get()), S_OK);
    EXPECT_EQ(object.IsDirty(), S_OK);
    EXPECT_EQ(object.Save(stream.get(), 1), S_OK);
    EXPECT_EQ(object.IsDirty(), S_FALSE);
    EXPECT_EQ(object.Save(nullptr, 1), E_POINTER);
    EXPECT_EQ(object.Load(nullptr), E_POINTER);
}

}  // namespace
