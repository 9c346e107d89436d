#include "media/external_meta_data_media_sample.h"

#include <gtest/gtest.h>

#include <array>

#include "support/plain_sample.h"

using mcgate::platform::ComPtr;

namespace {

constexpr auto kDolby = static_cast<std::int32_t>(MediaDataKey::DolbyMetadata);

ComPtr<IMediaSample> wrap(IMediaSample& sample) {
    return ComPtr<IMediaSample>(new CExternalMetaDataMediaSample(sample));
}

TEST(ExternalMetaDataMediaSample, StartsAsACopyAndGoesItsOwnWayButForTheData) {
    std::array<std::uint8_t, 8> memory{};
    const ComPtr<IMediaSample3> inner(new COOBMediaSample(memory.data(), 8));
    REFERENCE_TIME start = 7;
    inner->SetTime(&start, nullptr);
    inner->SetDiscontinuity(1);
    CMediaType type(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
    inner->SetMediaType(&type);
    const std::array<std::uint8_t, 2> record{1, 2};
    for (std::int32_t key = 0; key < 6; ++key) inner->SetMetaData(key, record.data(), 2);

    const auto outer = wrap(*inner).query<IMediaSample3>();
    ASSERT_TRUE(outer);
    REFERENCE_TIME stop = 0;
    start = 0;
    EXPECT_EQ(outer->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(start, 7);
    EXPECT_EQ(outer->IsDiscontinuity(), S_OK);
    AM_MEDIA_TYPE* copy = nullptr;
    ASSERT_EQ(outer->GetMediaType(&copy), S_OK);
    EXPECT_EQ(copy->subtype, MEDIASUBTYPE_MPEG2_TRANSPORT);
    DeleteMediaType(copy);
    std::uint8_t* bytes = nullptr;
    std::int32_t size = 0;
    for (std::int32_t key = 0; key < 6; ++key) {
        EXPECT_EQ(outer->GetMetaData(key, &bytes, &size), key == kDolby ? E_FAIL : S_OK) << key;
    }

    outer->SetDiscontinuity(0);
    outer->RemoveMetaData(0);
    EXPECT_EQ(inner->IsDiscontinuity(), S_OK);
    EXPECT_EQ(inner->GetMetaData(0, &bytes, &size), S_OK);

    EXPECT_EQ(outer->SetActualDataLength(3), S_OK);
    EXPECT_EQ(inner->GetActualDataLength(), 3) << "the payload is one";
    AM_SAMPLE2_PROPERTIES properties;
    inner->SetActualDataLength(5);
    ASSERT_EQ(outer->GetProperties(sizeof properties, reinterpret_cast<std::uint8_t*>(&properties)), S_OK);
    EXPECT_EQ(properties.lActual, 5);
    EXPECT_EQ(properties.pbBuffer, memory.data());
    properties.lActual = 4;
    ASSERT_EQ(outer->SetProperties(sizeof properties, reinterpret_cast<const std::uint8_t*>(&properties)), S_OK);
    EXPECT_EQ(inner->GetActualDataLength(), 4);
}

TEST(ExternalMetaDataMediaSample, AnswersWhatTheWrappedOneAnswersAndLetsItGo) {
    const ComPtr<IMediaSample> plain(new test::PlainSample(nullptr, 0));
    auto outer = wrap(*plain);
    void* found = &found;
    EXPECT_EQ(outer->QueryInterface(IMediaSample3::iid, &found), E_NOTIMPL);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(outer->QueryInterface(IMemAllocator::iid, &found), E_NOINTERFACE);
    EXPECT_TRUE(outer.query<IMediaSample>());

    plain->AddRef();
    EXPECT_EQ(plain->Release(), 2U) << "the wrapper holds it";
    outer.reset();
    plain->AddRef();
    EXPECT_EQ(plain->Release(), 1U);
}

}  // namespace
