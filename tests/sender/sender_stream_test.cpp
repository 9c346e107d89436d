// The sender's configuration in a stream.

#include <gtest/gtest.h>

#include "sender/network_send.h"
#include "support/configuration.h"
#include "support/failing_stream.h"
#include "support/golden_bytes.h"
#include "support/outer.h"
#include "support/recording_log.h"

namespace {

using mcgate::platform::ComPtr;
using test::Bytes;

constexpr int kVersionReads = 12;

/// 10.0.0.1 to 239.1.2.3, port 5000, and fd00::1 to ff15::9, port 65535.
Bytes twoDestinations() {
    return test::goldenBytes(537, {{24, {2}},
                                   {25, {2, 0, 0, 0, 10, 0, 0, 1}},
                                   {153, {2, 0, 0x13, 0x88, 239, 1, 2, 3}},
                                   {281, {23, 0, 0, 0, 0, 0, 0, 0, 0xFD, 0}},
                                   {281 + 23, {1}},
                                   {409, {23, 0, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF, 0x15}},
                                   {409 + 23, {9}}});
}

struct SenderStreamTest : testing::Test {
    test::RecordingLog log;
    HRESULT status = S_OK;
    ComPtr<CNetworkSend> filter = make();

    ComPtr<CNetworkSend> make() {
        ComPtr<CNetworkSend> made(new CNetworkSend(nullptr, &status));
        made->SetLogPerf(&log);
        return made;
    }
    std::string entry(std::int32_t index) { return test::destinationOf(*filter, index); }
    std::int32_t entries() {
        std::int32_t count = 0;
        while (entry(count) != "none") ++count;
        return count;
    }
    /// Another filter, with one destination.
    void renew() {
        filter = make();
        ASSERT_EQ(status, S_OK);
        ASSERT_NO_FATAL_FAILURE(add(u"127.0.0.1", 1, u"127.0.0.1"));
    }
    static constexpr const char* kRenewed = "127.0.0.1:1@127.0.0.1";
    void add(const WCHAR* remote, std::uint32_t port, const WCHAR* local) {
        std::int32_t index = -1;
        ASSERT_EQ(filter->AddDestination(remote, port, local, &index), S_OK);
    }
};

TEST_F(SenderStreamTest, SavesByTheTableAndLoadsWhatItSaved) {
    std::uint64_t size = 0;
    EXPECT_EQ(filter->GetSizeMax(&size), S_OK);
    EXPECT_EQ(size, 3865U);
    EXPECT_EQ(test::saved(*filter), test::goldenBytes(25, {}));
    add(u"239.1.2.3", 5000, u"10.0.0.1");
    add(u"FF15:0::9", 65535, u"fd00:0:0::1");
    EXPECT_EQ(filter->IsDirty(), S_FALSE);
    EXPECT_EQ(test::saved(*filter), twoDestinations());

    ASSERT_NO_FATAL_FAILURE(renew());
    EXPECT_EQ(test::load(*filter, twoDestinations()), S_OK);
    EXPECT_EQ(entry(0), "239.1.2.3:5000@10.0.0.1");
    EXPECT_EQ(entry(1), "ff15::9:65535@fd00::1");
    EXPECT_EQ(entries(), 2);
    EXPECT_EQ(test::saved(*filter), twoDestinations());
    EXPECT_EQ(test::load(*filter, test::goldenBytes(25, {})), S_OK);
    EXPECT_EQ(entries(), 0);
}

TEST_F(SenderStreamTest, TheCountIsAByte) {
    for (int i = 0; i < 300; ++i) add(u"239.1.2.3", 5000, u"10.0.0.1");
    const Bytes stream = test::saved(*filter);
    EXPECT_EQ(stream.size(), 25U + 300 * 256);
    EXPECT_EQ(stream[24], 44);
    EXPECT_EQ(test::load(*filter, stream), S_OK);
    EXPECT_EQ(entries(), 44);
}

TEST_F(SenderStreamTest, AStoredTextThatIsNoAddressLeavesTheVersionAlone) {
    add(u"239.1.2.3", 5000, u"10.0.0.1");
    add(u"239.1.2.3", 5000, u"10.0.0.1");
    EXPECT_EQ(filter->SetDestination(1, u"nowhere", 5000, u"10.0.0.1"), S_OK);
    const auto stream = mcgate::platform::MemoryStream::create();
    EXPECT_EQ(filter->Save(stream.get(), 1), E_FAIL);
    EXPECT_EQ(stream->content(), test::goldenBytes(24, {}));
}

// What cut and damaged streams give is stated in fuzz/sender_streams, and replayed with every length and byte.

TEST_F(SenderStreamTest, AFailingCallEndsBothWithItsStatus) {
    const Bytes whole = twoDestinations();
    for (int call = 0; call < kVersionReads + 5; ++call) {
        ASSERT_NO_FATAL_FAILURE(renew());
        const ComPtr<IStream> stream(new test::FailingStream(call, whole));
        EXPECT_EQ(filter->Load(stream.get()), test::FailingStream::kStatus);
        EXPECT_EQ(entries(), call < kVersionReads ? 1 : call < kVersionReads + 3 ? 0 : 1) << call;
        EXPECT_EQ(entry(0) == kRenewed, call < kVersionReads) << call;
    }
    ASSERT_EQ(test::load(*filter, whole), S_OK);
    const std::size_t written[] = {0, 24, 25, 153, 281, 409};
    for (int call = 0; call < 6; ++call) {
        const ComPtr<test::FailingStream> stream(new test::FailingStream(call));
        EXPECT_EQ(filter->Save(stream.get(), 1), test::FailingStream::kStatus);
        EXPECT_EQ(stream->content(), test::cut(whole, written[call]));
    }
}

TEST_F(SenderStreamTest, ItsInterfacesAreOneObjectAggregatedToo) {
    test::Outer outer([this](IUnknown* owner) { return new CNetworkSend(owner, &status); });
    test::expectOneObject(outer,
                          {ISpecifyPropertyPages::iid, ISenderConfig::iid, IAMFilterMiscFlags::iid, IPersistStream::iid,
                           IDelayCrossingPointFilter::iid, IBaseFilter::iid, IPersist::iid},
                          CLSID_CNetworkSend);
}

}  // namespace
