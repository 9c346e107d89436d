#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "foundation/com_exception.h"
#include "media/media_sample.h"
#include "media/sample_helpers.h"

using mcgate::platform::ComPtr;

namespace {

constexpr auto kDataId = static_cast<std::int32_t>(MediaDataKey::DataId);

std::array<std::uint8_t, 8> idBytes(std::uint64_t id) {
    std::array<std::uint8_t, 8> bytes{};
    std::memcpy(bytes.data(), &id, sizeof id);
    return bytes;
}

ComPtr<IMediaSample3> makeSample(std::uint8_t* buffer, std::int32_t bytes) {
    return ComPtr<IMediaSample3>(new COOBMediaSample(buffer, bytes));
}

}  // namespace

TEST(MediaSample, AnswersFourInterfacesWithOneObject) {
    const auto sample = makeSample(nullptr, 0);
    for (const GUID& id : {IUnknown::iid, IMediaSample::iid, IMediaSample2::iid, IMediaSample3::iid}) {
        ComPtr<IMediaSample3> found;
        ASSERT_EQ(sample->QueryInterface(id, found.putVoid()), S_OK);
        EXPECT_EQ(found, sample);
    }
    void* found = &found;
    EXPECT_EQ(sample->QueryInterface(IMemAllocator::iid, &found), E_NOINTERFACE);
    EXPECT_EQ(found, nullptr);
    std::uint8_t* data = nullptr;
    EXPECT_EQ(sample->GetPointer(&data), E_FAIL);
}

TEST(MediaSample, TimesAreKeptOrMissing) {
    const auto sample = makeSample(nullptr, 0);
    REFERENCE_TIME start = 7;
    REFERENCE_TIME stop = 9;
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
    EXPECT_FALSE(HasSampleTime(*sample));
    EXPECT_THROW(GetSampleStartTime(*sample), COMException);

    sample->SetTime(&start, nullptr);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(stop, 8);
    EXPECT_TRUE(HasSampleTime(*sample));
    EXPECT_EQ(GetSampleStartTime(*sample), 7);

    stop = 20;
    sample->SetTime(&start, &stop);
    EXPECT_EQ(sample->GetTime(&start, &stop), S_OK);
    EXPECT_EQ(stop, 20);
    sample->SetTime(nullptr, nullptr);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);

    std::int64_t mediaStart = 1LL << 40;
    std::int64_t mediaEnd = mediaStart + 5;
    EXPECT_EQ(sample->GetMediaTime(&mediaStart, &mediaEnd), VFW_E_MEDIA_TIME_NOT_SET);
    sample->SetMediaTime(&mediaStart, &mediaEnd);
    std::int64_t readStart = 0;
    std::int64_t readEnd = 0;
    EXPECT_EQ(sample->GetMediaTime(&readStart, &readEnd), S_OK);
    EXPECT_EQ(readEnd, mediaEnd);
}

TEST(MediaSample, SideDataIsKeptByKey) {
    const auto sample = makeSample(nullptr, 0);
    std::uint8_t* bytes = nullptr;
    std::int32_t size = -1;
    std::uint64_t id = 42;
    EXPECT_EQ(sample->GetMetaData(kDataId, &bytes, &size), E_FAIL);
    EXPECT_FALSE(GetSampleDataId(*sample, id));

    const std::uint8_t longer[20] = {};
    sample->SetMetaData(kDataId, longer, sizeof longer);
    sample->SetMetaData(kDataId, idBytes(77).data(), 8);
    EXPECT_EQ(sample->GetMetaData(kDataId, &bytes, &size), S_OK);
    EXPECT_EQ(size, 8);
    EXPECT_TRUE(GetSampleDataId(*sample, id));
    EXPECT_EQ(id, 77U);

    sample->SetMetaData(kDataId, nullptr, 0);
    EXPECT_EQ(sample->GetMetaData(kDataId, &bytes, &size), S_OK);
    EXPECT_EQ(size, 0);
    EXPECT_FALSE(GetSampleDataId(*sample, id));
    sample->RemoveMetaData(kDataId);
    sample->RemoveMetaData(kDataId);
    EXPECT_EQ(sample->GetMetaData(kDataId, &bytes, &size), E_FAIL);
    EXPECT_EQ(id, 77U);
}

TEST(MediaSample, PropertiesGoOutAndInAsOneRecord) {
    std::array<std::uint8_t, 16> memory{};
    const auto sample = makeSample(memory.data(), 16);
    CMediaType type(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
    const std::uint32_t rate = 5;
    type.SetFormat(FORMAT_MPEGStreams, &rate, sizeof rate);
    sample->SetMediaType(&type);

    AM_SAMPLE2_PROPERTIES record;
    auto* const raw = reinterpret_cast<std::uint8_t*>(&record);
    ASSERT_EQ(sample->GetProperties(sizeof record, raw), S_OK);
    EXPECT_EQ(record.cbData, sizeof record);
    EXPECT_EQ(record.dwSampleFlags, AM_SAMPLE_TYPECHANGED);
    EXPECT_EQ(record.pbBuffer, memory.data());
    record.dwSampleFlags |= AM_SAMPLE_TIMEVALID | AM_SAMPLE_DATADISCONTINUITY;
    record.tStart = 99;
    record.lActual = 3;
    ASSERT_EQ(sample->SetProperties(sizeof record, raw), S_OK);  // with the sample's own type in it
    EXPECT_EQ(GetSampleStartTime(*sample), 99);
    EXPECT_TRUE(IsSampleDiscontinuity(*sample));
    EXPECT_EQ(sample->GetActualDataLength(), 3);
    AM_MEDIA_TYPE* copy = nullptr;
    ASSERT_EQ(sample->GetMediaType(&copy), S_OK);
    EXPECT_TRUE(type.equals(*copy));
    DeleteMediaType(copy);

    sample->GetProperties(sizeof record, raw);
    AM_SAMPLE2_PROPERTIES bad[] = {record, record, record};
    bad[0].lActual = 17;
    bad[1].pbBuffer = raw;
    bad[2].dwSampleFlags = AM_SAMPLE_STOPVALID;
    for (const auto& one : bad) {
        EXPECT_EQ(sample->SetProperties(sizeof one, reinterpret_cast<const std::uint8_t*>(&one)),
                  &one == bad ? VFW_E_BUFFER_OVERFLOW : E_INVALIDARG);
    }
    EXPECT_EQ(sample->GetActualDataLength(), 3);

    // A short record says nothing of the type; one that reaches it without the flag takes it away.
    std::uint32_t flags[3] = {sizeof flags, 0, AM_SAMPLE_PREROLL};
    ASSERT_EQ(sample->SetProperties(sizeof flags, reinterpret_cast<std::uint8_t*>(flags)), S_OK);
    EXPECT_EQ(sample->IsPreroll(), S_OK);
    EXPECT_EQ(sample->GetMediaType(&copy), S_OK);
    DeleteMediaType(copy);
    record.dwSampleFlags = 0;
    ASSERT_EQ(sample->SetProperties(sizeof record, raw), S_OK);
    EXPECT_EQ(sample->GetMediaType(&copy), S_FALSE);
    EXPECT_EQ(copy, nullptr);
    // Nor does it make valid what times the sample had before.
    flags[2] = AM_SAMPLE_TIMEVALID;
    EXPECT_EQ(sample->SetProperties(sizeof flags, reinterpret_cast<std::uint8_t*>(flags)), E_INVALIDARG);
    EXPECT_FALSE(HasSampleTime(*sample));
    // Nor does the flag alone make a type.
    flags[2] = AM_SAMPLE_TYPECHANGED | AM_SAMPLE_SPLICEPOINT;
    ASSERT_EQ(sample->SetProperties(sizeof flags, reinterpret_cast<std::uint8_t*>(flags)), S_OK);
    sample->GetProperties(sizeof record, raw);
    EXPECT_EQ(record.dwSampleFlags, AM_SAMPLE_SPLICEPOINT);
}

TEST(MediaSample, ARoundThroughThePoolClearsAllButTheMemory) {
    const ComPtr<CMemAllocator> pool(new CMemAllocator(nullptr));
    ALLOCATOR_PROPERTIES one{1, 16, 1, 0};
    pool->SetProperties(&one, &one);
    pool->Commit();
    for (std::uint64_t round = 1; round <= 3; ++round) {
        ComPtr<IMediaSample> sample;
        ASSERT_EQ(pool->GetBuffer(sample.put(), nullptr, nullptr, AM_GBF_NOWAIT), S_OK);
        const auto sample3 = sample.query<IMediaSample3>();
        std::uint64_t id = 0;
        AM_SAMPLE2_PROPERTIES record;
        sample3->GetProperties(sizeof record, reinterpret_cast<std::uint8_t*>(&record));
        EXPECT_EQ(record.dwSampleFlags, 0U);
        EXPECT_EQ(record.dwTypeSpecificFlags, 0U);
        EXPECT_EQ(record.dwStreamId, 0U);
        EXPECT_EQ(record.pMediaType, nullptr);
        EXPECT_FALSE(GetSampleDataId(*sample3, id));

        CMediaType type(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT);
        record.dwTypeSpecificFlags = record.dwStreamId = 5;
        record.dwSampleFlags = 0x137 | AM_SAMPLE_TYPECHANGED;
        record.pMediaType = &type;
        ASSERT_EQ(sample3->SetProperties(sizeof record, reinterpret_cast<std::uint8_t*>(&record)), S_OK);
        sample3->SetMetaData(kDataId, idBytes(round).data(), 8);
        sample3->SetMetaData(0, idBytes(round).data(), 8);
        ASSERT_TRUE(GetSampleDataId(*sample3, id));
        EXPECT_EQ(id, round);
    }
    EXPECT_EQ(pool->freeCount(), 1);
    pool->Decommit();
}
