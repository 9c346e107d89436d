#include <gtest/gtest.h>

#include "support/plain_sample.h"
#include "support/test_filters.h"

using mcgate::platform::ComPtr;
using test::CollectingFilter;
using test::FakeGraph;
using test::FeedingFilter;
using test::PinConnection;

namespace {

const GUID kOtherMajor = mcgate::platform::guid("{11111111-0000-0000-0000-000000000000}");
const GUID kThirdMajor = mcgate::platform::guid("{22222222-0000-0000-0000-000000000000}");

CMediaType transport() { return {MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT}; }
CMediaType other() { return {kOtherMajor, MEDIASUBTYPE_MPEG2_TRANSPORT}; }
CMediaType full(CMediaType type) {
    const std::uint32_t rate = 1'000'000;
    type.SetFormat(FORMAT_MPEGStreams, &rate, sizeof rate);
    return type;
}

GUID connectedMajor(IPin* pin) {
    CMediaType type;
    EXPECT_EQ(pin->ConnectionMediaType(&type), S_OK);
    return type.majortype;
}

constexpr ALLOCATOR_PROPERTIES kSmallPool{3, 64, 0, 0};

/// A feeder and a collector that agree on one type, connected.
struct Chain {
    ComPtr<FeedingFilter> feeder{new FeedingFilter(transport(), 3, 64)};
    ComPtr<CollectingFilter> collector{new CollectingFilter({transport()})};
    PinConnection connection{feeder->output(), collector->input()};

    void start() {
        ASSERT_EQ(connection.status(), S_OK);
        ASSERT_EQ(collector->Pause(), S_OK);
        ASSERT_EQ(feeder->Pause(), S_OK);
    }
    ~Chain() {
        collector->Stop();
        feeder->Stop();
    }
};

/// Refuses to become active.
class RefusingFilter final : public CBaseFilter {
public:
    RefusingFilter() : CBaseFilter(nullptr, nullptr, &lock_, GUID_NULL), first_(*this, S_OK), second_(*this, E_FAIL) {}
    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int index) override { return index == 0 ? &first_ : index == 1 ? &second_ : nullptr; }

    struct Pin final : CBaseInputPin {
        Pin(RefusingFilter& filter, HRESULT active) : CBaseInputPin(&filter, &filter.lock_, u"In"), active_(active) {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        HRESULT Active() override { return active_; }
        HRESULT Run(REFERENCE_TIME) override {
            ++runs_;
            return S_OK;
        }
        HRESULT Inactive() override {
            ++inactive_;
            return active_ == S_OK ? E_UNEXPECTED : S_OK;
        }
        HRESULT active_;
        int runs_ = 0;
        int inactive_ = 0;
    };

    CCritSec lock_;
    Pin first_;
    Pin second_;
};

}  // namespace

TEST(Identity, ReferencesTakenDuringDestructionDoNoHarm) {
    struct Clinging final : CUnknown {
        explicit Clinging(int& ends) : CUnknown(nullptr), ends_(ends) {}
        ~Clinging() override {
            NonDelegatingAddRef();
            if (++ends_ == 1) NonDelegatingRelease();
        }
        int& ends_;
    };
    int ends = 0;
    auto* const object = new Clinging(ends);
    object->NonDelegatingAddRef();
    object->NonDelegatingRelease();
    EXPECT_EQ(ends, 1);
}

TEST(Identity, APinsReferencesAreItsFilters) {
    const std::int32_t before = CBaseObject::ObjectsActive();
    ComPtr<IPin> pin;
    {
        const ComPtr<CollectingFilter> filter(new CollectingFilter);
        pin = filter->input();
        EXPECT_EQ(pin.query<IMemInputPin>().query<IUnknown>(), pin.query<IUnknown>());
        EXPECT_NE(pin.query<IUnknown>(), ComPtr<IBaseFilter>(filter.get()).query<IUnknown>());
    }
    PIN_INFO info;
    ASSERT_EQ(pin->QueryPinInfo(&info), S_OK);
    EXPECT_EQ(std::u16string(info.achName), u"In");
    info.pFilter->Release();
    pin.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(Enumerators, WalkPinsAndTypesAndSeeChanges) {
    const ComPtr<FeedingFilter> filter(new FeedingFilter({transport(), other()}, kSmallPool));
    ComPtr<IEnumPins> pins;
    ASSERT_EQ(filter->EnumPins(pins.put()), S_OK);
    IPin* found[2] = {};
    std::uint32_t count = 0;
    EXPECT_EQ(pins->Next(2, found, nullptr), E_INVALIDARG);
    EXPECT_EQ(pins->Next(2, found, &count), S_FALSE);
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(found[0], filter->output());
    found[0]->Release();
    filter->IncrementPinVersion();
    EXPECT_EQ(pins->Next(1, found, nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    pins->Reset();
    EXPECT_EQ(pins->Skip(1), S_OK);
    EXPECT_EQ(pins->Skip(1), S_FALSE);

    ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(filter->output()->EnumMediaTypes(types.put()), S_OK);
    ComPtr<IEnumMediaTypes> copy;
    types->Skip(1);
    ASSERT_EQ(types->Clone(copy.put()), S_OK);
    AM_MEDIA_TYPE* type = nullptr;
    ASSERT_EQ(copy->Next(1, &type, nullptr), S_OK);
    EXPECT_EQ(type->majortype, kOtherMajor);
    DeleteMediaType(type);
    EXPECT_EQ(copy->Next(1, &type, nullptr), S_FALSE);

    ComPtr<IPin> pin;
    EXPECT_EQ(filter->FindPin(u"Out", pin.put()), S_OK);
    EXPECT_EQ(filter->FindPin(u"In", pin.put()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(pin);
}

TEST(Connection, ThePeersPreferenceComesFirstThenOnesOwn) {
    const ComPtr<FeedingFilter> feeder(new FeedingFilter({transport(), other()}, kSmallPool));
    const std::pair<std::vector<CMediaType>, GUID> rows[] = {
        {{other(), transport()}, kOtherMajor},
        {{}, MEDIATYPE_Stream},
        {{CMediaType(kThirdMajor, GUID_NULL), other()}, kOtherMajor},
    };
    for (const auto& [peer, expected] : rows) {
        const ComPtr<CollectingFilter> collector(new CollectingFilter(peer));
        const PinConnection connection(feeder->output(), collector->input());
        ASSERT_EQ(connection.status(), S_OK);
        EXPECT_EQ(connectedMajor(feeder->output()), expected);
        EXPECT_EQ(connectedMajor(collector->input()), expected);
    }
}

TEST(Connection, AFullTypeIsTheOnlyOneTriedAndAPartialOneRestricts) {
    const ComPtr<FeedingFilter> feeder(new FeedingFilter({transport(), other()}, kSmallPool));
    const ComPtr<CollectingFilter> collector(new CollectingFilter({transport()}));
    const CMediaType wrong = full(other());
    EXPECT_EQ(PinConnection(feeder->output(), collector->input(), &wrong).status(), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_FALSE(feeder->output()->IsConnected());
    const CMediaType partial(kOtherMajor, GUID_NULL);
    EXPECT_EQ(PinConnection(feeder->output(), collector->input(), &partial).status(), VFW_E_NO_ACCEPTABLE_TYPES);

    const CMediaType right = full(transport());
    const PinConnection connection(feeder->output(), collector->input(), &right);
    ASSERT_EQ(connection.status(), S_OK);
    CMediaType agreed;
    ASSERT_EQ(collector->input()->ConnectionMediaType(&agreed), S_OK);
    EXPECT_TRUE(agreed.equals(right));  // format block included
}

TEST(Connection, IsRefusedWhereItCannotBe) {
    Chain chain;
    ASSERT_EQ(chain.connection.status(), S_OK);
    const ComPtr<FeedingFilter> feeder(new FeedingFilter(transport()));
    const ComPtr<CollectingFilter> collector(new CollectingFilter);
    IPin* const output = chain.feeder->output();
    EXPECT_EQ(output->Connect(collector->input(), nullptr), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(feeder->output()->Connect(chain.collector->input(), nullptr), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(feeder->output()->Connect(output, nullptr), VFW_E_INVALID_DIRECTION);
    collector->Pause();
    EXPECT_EQ(feeder->output()->Connect(collector->input(), nullptr), VFW_E_NOT_STOPPED);
    feeder->Pause();
    EXPECT_EQ(feeder->output()->Connect(collector->input(), nullptr), VFW_E_NOT_STOPPED);
    EXPECT_FALSE(collector->input()->IsConnected());

    chain.start();
    EXPECT_EQ(output->Disconnect(), VFW_E_NOT_STOPPED);
    chain.feeder->Stop();
    EXPECT_EQ(output->Disconnect(), S_OK);
    EXPECT_EQ(output->Disconnect(), S_FALSE);
    CMediaType type;
    EXPECT_EQ(output->ConnectionMediaType(&type), VFW_E_NOT_CONNECTED);
}

TEST(Connection, AgreesOnThePeersAllocatorAndCommitsItWithTheState) {
    Chain chain;
    ASSERT_EQ(chain.connection.status(), S_OK);
    CBaseOutputPin& output = *chain.feeder->output();
    ASSERT_NE(output.allocator(), nullptr);
    EXPECT_EQ(output.allocator(), chain.collector->input()->allocator());
    ALLOCATOR_PROPERTIES agreed;
    output.allocator()->GetProperties(&agreed);
    EXPECT_EQ(agreed.cBuffers, 3);
    EXPECT_EQ(agreed.cbAlign, 1);  // the input asks for none
    EXPECT_EQ(chain.feeder->deliver({1}), VFW_E_NOT_COMMITTED);
    chain.start();
    EXPECT_EQ(chain.feeder->deliver({1, 2, 3}), S_OK);
    EXPECT_EQ(chain.collector->bytes(), (std::vector<std::uint8_t>{1, 2, 3}));
    chain.feeder->Stop();
    EXPECT_EQ(chain.feeder->deliver({1}), VFW_E_NOT_COMMITTED);
    chain.connection.disconnect();
    EXPECT_EQ(chain.feeder->deliver({1}), E_NOINTERFACE);
    EXPECT_EQ(output.Active(), VFW_E_NO_ALLOCATOR);
}

TEST(FilterState, AFailingPinLeavesTheStateAndAStopGoesThroughAll) {
    const ComPtr<RefusingFilter> filter(new RefusingFilter);
    const ComPtr<FeedingFilter> one(new FeedingFilter(transport()));
    const ComPtr<FeedingFilter> two(new FeedingFilter(transport()));
    const PinConnection first(one->output(), &filter->first_);
    ASSERT_EQ(filter->Run(5), S_OK);  // an unconnected pin is not asked
    EXPECT_EQ(filter->state(), State_Running);
    EXPECT_EQ(filter->first_.runs_, 1);
    EXPECT_EQ(filter->Pause(), S_OK);
    EXPECT_EQ(filter->state(), State_Paused);
    EXPECT_EQ(filter->Stop(), E_UNEXPECTED);
    EXPECT_EQ(filter->state(), State_Stopped);
    EXPECT_EQ(filter->Stop(), S_OK);
    EXPECT_EQ(filter->first_.inactive_, 1);

    const PinConnection second(two->output(), &filter->second_);
    EXPECT_EQ(filter->Pause(), E_FAIL);
    EXPECT_EQ(filter->Run(0), E_FAIL);
    EXPECT_EQ(filter->state(), State_Stopped);
    EXPECT_EQ(filter->first_.runs_, 1);
    filter->second_.active_ = S_OK;
    ASSERT_EQ(filter->Pause(), S_OK);
    EXPECT_EQ(filter->Stop(), E_UNEXPECTED);
    EXPECT_EQ(filter->second_.inactive_, 1);  // although the first pin failed
}

TEST(FilterState, RunCallsPauseWithoutTheLock) {
    struct Filter final : CBaseFilter {
        Filter() : CBaseFilter(nullptr, nullptr, &section, GUID_NULL) {}
        int GetPinCount() override { return 0; }
        CBasePin* GetPin(int) override { return nullptr; }
        HRESULT Pause() override {
            std::thread([this] {
                free = section.try_lock();
                if (free) section.unlock();
            }).join();
            return CBaseFilter::Pause();
        }
        CCritSec section;
        bool free = false;
    };
    const ComPtr<Filter> filter(new Filter);
    ASSERT_EQ(filter->Run(0), S_OK);
    EXPECT_TRUE(filter->free);
}

TEST(FilterState, EventsGoToTheGraphWhileItIsThere) {
    FakeGraph graph;
    const ComPtr<CollectingFilter> filter(new CollectingFilter);
    EXPECT_EQ(filter->NotifyEvent(0x806B, 1, 2), E_NOTIMPL);
    graph.AddFilter(filter.get(), u"Name");
    FILTER_INFO info;
    filter->QueryFilterInfo(&info);
    EXPECT_EQ(std::u16string(info.achName), u"Name");
    EXPECT_EQ(info.pGraph, &graph);
    EXPECT_EQ(filter->NotifyEvent(0x806B, 1, 2), S_OK);
    EXPECT_EQ(filter->NotifyEvent(EC_COMPLETE, 0, 0), S_OK);
    graph.RemoveFilter(filter.get());
    EXPECT_EQ(filter->NotifyEvent(0x806B, 1, 2), E_NOTIMPL);
    const auto events = graph.events();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].param2, 2);
    EXPECT_EQ(events[1].param2, reinterpret_cast<std::intptr_t>(static_cast<IBaseFilter*>(filter.get())));
}

TEST(InputPin, LooksAtStoppedThenFlushingThenRunTimeError) {
    Chain chain;
    FakeGraph graph;
    graph.AddFilter(chain.collector.get(), nullptr);
    chain.start();
    CBaseInputPin& pin = *chain.collector->input();
    CMediaType foreign = other();
    CMediaType same = transport();
    EXPECT_EQ(chain.feeder->deliver({1}, {.inlineType = &same}), S_OK);
    EXPECT_EQ(chain.feeder->deliver({2}, {.inlineType = &foreign}), VFW_E_INVALIDMEDIATYPE);
    EXPECT_EQ(chain.collector->endsOfStream(), 1);  // the pin's own end of stream
    ASSERT_EQ(graph.events().size(), 1U);
    EXPECT_EQ(graph.events()[0].code, EC_ERRORABORT);
    EXPECT_EQ(graph.events()[0].param1, VFW_E_TYPE_NOT_ACCEPTED);

    EXPECT_EQ(chain.feeder->deliver({3}), VFW_E_RUNTIME_ERROR);
    pin.BeginFlush();
    EXPECT_EQ(chain.feeder->deliver({4}), S_FALSE);
    const ComPtr<IMediaSample> sample(new COOBMediaSample(nullptr, 0));
    chain.collector->Stop();
    EXPECT_EQ(pin.Receive(sample.get()), VFW_E_WRONG_STATE);
    EXPECT_EQ(chain.feeder->deliver({5}), VFW_E_NOT_COMMITTED) << "the pool of a stopped pin gives nothing";
    chain.feeder->Stop();
    chain.start();  // the stop took flushing and error away
    EXPECT_EQ(chain.feeder->deliver({5}), S_OK);
    EXPECT_EQ(chain.collector->bytes(), (std::vector<std::uint8_t>{1, 5}));
    chain.collector->Stop();
    pin.BeginFlush();
    EXPECT_EQ(pin.Receive(sample.get()), VFW_E_WRONG_STATE);
    graph.RemoveFilter(chain.collector.get());
}

TEST(InputPin, CopiesThePropertiesOfAnySample) {
    Chain chain;
    chain.start();
    CBaseInputPin& pin = *chain.collector->input();
    std::array<std::uint8_t, 8> memory{};
    CMediaType foreign = other();
    for (const bool plain : {false, true}) {
        const ComPtr<IMediaSample> sample(plain ? new test::PlainSample(memory.data(), 8)
                                                : new COOBMediaSample(memory.data(), 8));
        const REFERENCE_TIME start = 50;
        sample->SetTime(&start, nullptr);
        sample->SetActualDataLength(3);
        sample->SetDiscontinuity(1);
        ASSERT_EQ(pin.Receive(sample.get()), S_OK);
        const AM_SAMPLE2_PROPERTIES& copied = pin.SampleProps();
        EXPECT_EQ(copied.dwSampleFlags, AM_SAMPLE_TIMEVALID | AM_SAMPLE_DATADISCONTINUITY);
        EXPECT_EQ(copied.tStart, 50);
        EXPECT_EQ(copied.lActual, 3);
        EXPECT_EQ(copied.cbBuffer, 8);
        EXPECT_EQ(copied.pbBuffer, memory.data());
        if (plain) {
            sample->SetMediaType(&foreign);
            EXPECT_EQ(pin.Receive(sample.get()), VFW_E_INVALIDMEDIATYPE);
        }
    }
}
