#include "media/media_data.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <utility>

#include "media/oob_media_sample.h"
#include "support/failure_of.h"
#include "support/plain_sample.h"

using mcgate::platform::ComPtr;

namespace {

TEST(MediaData, ForwardsToItsSampleAndHoldsItUntilItsLastRelease) {
    std::array<std::uint8_t, 188> memory{};
    const ComPtr<IMediaSample2> sample(new COOBMediaSample(memory.data(), 188));
    auto* const data = new MediaData2(*sample);
    void* found = data;
    EXPECT_EQ(data->QueryInterface(IUnknown::iid, &found), E_NOINTERFACE);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(data->GetMediaSample(), sample.get());

    const REFERENCE_TIME start = 7;
    REFERENCE_TIME readStart = 0;
    REFERENCE_TIME readStop = 0;
    EXPECT_EQ(data->SetTime(&start, nullptr), S_OK);
    EXPECT_EQ(data->GetTime(&readStart, &readStop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(readStart, 7);
    EXPECT_EQ(data->GetActualDataLength(), 188);
    EXPECT_EQ(data->SetActualDataLength(189), VFW_E_BUFFER_OVERFLOW);
    EXPECT_TRUE(FAILED(data->SetActualDataLength(-1)));
    EXPECT_EQ(data->SetActualDataLength(5), S_OK);
    EXPECT_EQ(data->GetSize(), 188);
    data->SetSyncPoint(true);
    EXPECT_TRUE(data->IsSyncPoint() && !data->IsPreroll() && !data->IsDiscontinuity());
    data->SetPreroll(true);
    data->SetDiscontinuity(true);
    data->SetSyncPoint(false);
    EXPECT_TRUE(!data->IsSyncPoint() && data->IsPreroll() && data->IsDiscontinuity());
    AM_SAMPLE2_PROPERTIES record;
    ASSERT_EQ(data->GetProperties(sizeof record, reinterpret_cast<std::uint8_t*>(&record)), S_OK);
    EXPECT_EQ(record.lActual, 5);

    EXPECT_EQ(data->AddRef(), 2U);
    EXPECT_EQ(data->Release(), 1U);
    sample->AddRef();
    EXPECT_EQ(sample->Release(), 2U);
    EXPECT_EQ(data->Release(), 0U);
    sample->AddRef();
    EXPECT_EQ(sample->Release(), 1U);
}

TEST(MediaData, EachRecordHasItsKeyAndItsSizeAndNoneIsAnswered) {
    const ComPtr<IMediaSample3> sample(new COOBMediaSample(nullptr, 0));
    const auto data = ComPtr<IMediaData>::attach(new MediaData(*sample));
    std::uint64_t id = 42;
    std::uint16_t event = 42;
    DolbyMetadata dolby;
    ParentalRating rating;
    EXPECT_EQ(data->GetCuePoint().value8, 0U);
    EXPECT_EQ(data->GetSampleDate(), 0);
    EXPECT_FALSE(data->GetDataId(id) || data->GetDolbyMetadata(dolby) || data->GetParentalRating(rating) ||
                 data->GetRecordingEvent(event));
    EXPECT_EQ(id, 42U);

    CuePoint cue;
    cue.byte17 = 3;
    cue.value20 = 0x11223344;
    data->SetCuePoint(cue);
    data->SetSampleDate(-5);
    data->SetDataId(77);
    dolby.bytes[83] = 4;
    data->SetDolbyMetadata(dolby);
    rating.bytes[5143] = 6;
    data->SetParentalRating(rating);
    data->SetRecordingEvent(0x1234);
    constexpr std::int32_t kSizes[] = {24, 8, 8, 84, 5144, 2};
    std::uint8_t* bytes = nullptr;
    std::int32_t size = 0;
    for (std::int32_t key = 0; key < 6; ++key) {
        ASSERT_EQ(sample->GetMetaData(key, &bytes, &size), S_OK) << key;
        EXPECT_EQ(size, kSizes[key]) << key;
    }
    ASSERT_EQ(sample->GetMetaData(0, &bytes, &size), S_OK);
    EXPECT_EQ((std::array<int, 3>{bytes[17], bytes[20], bytes[23]}), (std::array<int, 3>{3, 0x44, 0x11}));
    EXPECT_EQ(data->GetCuePoint().value20, 0x11223344U);
    EXPECT_EQ(data->GetSampleDate(), -5);
    EXPECT_TRUE(data->GetDataId(id) && id == 77);
    EXPECT_TRUE(data->GetDolbyMetadata(dolby) && dolby.bytes[83] == 4);
    EXPECT_TRUE(data->GetParentalRating(rating) && rating.bytes[5143] == 6);
    EXPECT_TRUE(data->GetRecordingEvent(event) && event == 0x1234);

    const std::array<std::uint8_t, 7> tooShort{};
    sample->SetMetaData(static_cast<std::int32_t>(MediaDataKey::DataId), tooShort.data(), 7);
    EXPECT_FALSE(data->GetDataId(id));
    EXPECT_EQ(id, 77U);
}

TEST(MediaData, WithoutSideDataEachRecordIsRefusedByName) {
    const ComPtr<IMediaSample> sample(new test::PlainSample(nullptr, 0, true));
    const auto data = ComPtr<IMediaData>::attach(new MediaData(*sample));
    std::uint64_t id = 0;
    DolbyMetadata dolby;
    const std::pair<std::function<void()>, const char*> refused[] = {
        {[&] { data->GetCuePoint(); }, "Cue Point management needs IMediaSample3 interface"},
        {[&] { data->SetSampleDate(1); }, "Sample Date management needs IMediaSample3 interface"},
        {[&] { data->GetDataId(id); }, "DataId management needs IMediaSample3 interface"},
        {[&] { data->GetDolbyMetadata(dolby); }, "DolbyMetadata management needs IMediaSample3 interface"},
        {[&] { data->SetParentalRating({}); }, "\"Parental Rating\" management needs IMediaSample3 interface"},
        {[&] { data->SetRecordingEvent(1); }, "recording event management needs IMediaSample3 interface"},
    };
    for (const auto& [act, text] : refused) EXPECT_EQ(test::failureOf(act), text);
    EXPECT_FALSE(data->IsSyncPoint());
}

}  // namespace
