// The receiver's configuration in a stream.

#include <gtest/gtest.h>

#include "receiver/network_receiver_filter.h"
#include "support/configuration.h"
#include "support/failing_stream.h"
#include "support/golden_bytes.h"
#include "support/outer.h"

namespace {

using mcgate::platform::ComPtr;
using test::Bytes;

constexpr std::size_t kSize = 410;
constexpr const char* kRenewed = "127.0.0.1 1 0.0.0.0 0.0.0.0";
constexpr const char* kWhole = "10.0.0.2 5000 239.1.2.3 10.0.0.9";

/// 10.0.0.2, port 5000, group 239.1.2.3, source 10.0.0.9.
Bytes sourceSpecific() {
    return test::goldenBytes(kSize, {{24, {2, 0, 0x13, 0x88, 10, 0, 0, 2}},
                                     {152, {0x13, 0x88}},
                                     {154, {2, 0, 0, 0, 239, 1, 2, 3}},
                                     {282, {2, 0, 0, 0, 10, 0, 0, 9}}});
}

struct ReceiverStreamTest : testing::Test {
    ComPtr<CNetworkReceiverFilter> filter{new CNetworkReceiverFilter(nullptr)};

    /// Configured as nothing else here.
    void renew() {
        filter = new CNetworkReceiverFilter(nullptr);
        ASSERT_EQ(filter->SetSource(1, u"127.0.0.1", u"0.0.0.0", u""), S_OK);
    }
};

TEST_F(ReceiverStreamTest, SavesByTheTableAndLoadsWhatItSaved) {
    std::uint64_t size = 0;
    EXPECT_EQ(filter->GetSizeMax(&size), S_OK);
    EXPECT_EQ(size, kSize);
    const std::tuple<const WCHAR*, const WCHAR*, const WCHAR*, std::string, Bytes> cases[] = {
        {u"", u"0.0.0.0", u"", "none", test::goldenBytes(kSize, {})},
        {u"10.0.0.2", u"239.1.2.3", u"10.0.0.9", kWhole, sourceSpecific()},
        {u"10.0.0.2", u"0.0.0.0", u"10.0.0.9", "10.0.0.2 5000 0.0.0.0 0.0.0.0",
         test::goldenBytes(kSize, {{24, {2, 0, 0x13, 0x88, 10, 0, 0, 2}}, {152, {0x13, 0x88}}})},
        {u"10.0.0.2", u"239.1.2.3", u"", "10.0.0.2 5000 239.1.2.3 0.0.0.0",
         test::goldenBytes(
             kSize, {{24, {2, 0, 0x13, 0x88, 10, 0, 0, 2}}, {152, {0x13, 0x88}}, {154, {2, 0, 0, 0, 239, 1, 2, 3}}})},
        {u"fd00::2", u"ff15::9", u"fd00::1", "fd00::2 5000 ff15::9 fd00::1",
         test::goldenBytes(kSize, {{24, {23, 0, 0x13, 0x88, 0, 0, 0, 0, 0xFD}},
                                   {24 + 23, {2}},
                                   {152, {0x13, 0x88}},
                                   {154, {23, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0x15}},
                                   {154 + 23, {9}},
                                   {282, {23, 0, 0, 0, 0, 0, 0, 0, 0xFD}},
                                   {282 + 23, {1}}})},
        {u"fd00::2", u"::", u"", "fd00::2 5000 0.0.0.0 0.0.0.0",
         test::goldenBytes(kSize, {{24, {23, 0, 0x13, 0x88, 0, 0, 0, 0, 0xFD}}, {24 + 23, {2}}, {152, {0x13, 0x88}}})},
    };
    for (const auto& [local, group, source, text, bytes] : cases) {
        filter = new CNetworkReceiverFilter(nullptr);
        filter->SetSource(5000, local, group, source);
        EXPECT_EQ(filter->IsDirty(), S_FALSE);
        EXPECT_EQ(test::saved(*filter), bytes) << text;
        ASSERT_NO_FATAL_FAILURE(renew());
        EXPECT_EQ(test::load(*filter, bytes), S_OK) << text;
        EXPECT_EQ(test::sourceOf(*filter), text);
        EXPECT_EQ(test::saved(*filter), bytes) << text;
    }
}

// What cut and damaged streams give is stated in fuzz/receiver_streams, and replayed with every length and byte.

TEST_F(ReceiverStreamTest, AFailingCallEndsBothWithItsStatus) {
    const Bytes whole = sourceSpecific();
    const int kVersionReads = 12;
    for (int call = 0; call < kVersionReads + 4; ++call) {
        ASSERT_NO_FATAL_FAILURE(renew());
        const ComPtr<IStream> stream(new test::FailingStream(call, whole));
        EXPECT_EQ(filter->Load(stream.get()), test::FailingStream::kStatus);
        EXPECT_EQ(test::sourceOf(*filter), kRenewed) << call;
    }
    ASSERT_EQ(test::load(*filter, whole), S_OK);
    const std::size_t written[] = {0, 24, 152, 154, 282};
    for (int call = 0; call < 5; ++call) {
        const ComPtr<test::FailingStream> stream(new test::FailingStream(call));
        EXPECT_EQ(filter->Save(stream.get(), 1), test::FailingStream::kStatus);
        EXPECT_EQ(stream->content(), test::cut(whole, written[call]));
    }
}

TEST_F(ReceiverStreamTest, ItsInterfacesAreOneObjectAggregatedToo) {
    test::Outer outer([](IUnknown* owner) { return new CNetworkReceiverFilter(owner); });
    test::expectOneObject(outer,
                          {ISourceConfig::iid, IAMFilterMiscFlags::iid, ISpecifyPropertyPages::iid, IPersistStream::iid,
                           IBaseFilter::iid, IPersist::iid},
                          CLSID_CNetworkReceiverFilter);
}

}  // namespace
