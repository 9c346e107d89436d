#pragma once
// Two small filters to stand around a filter under test: one that collects what it is given, one that is fed by the
// test. Both are component objects: hold them by ComPtr. Two connected pins hold each other's filters, so a test
// disconnects what it connected; PinConnection does it by scope.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "media/host/base_filter.h"
#include "media/host/base_input_pin.h"
#include "media/host/base_output_pin.h"
#include "media/nominal_bit_rate.h"
#include "media/sample_helpers.h"
#include "support/notes.h"

namespace test {

using mcgate::platform::ComPtr;

/// Connects at construction and disconnects both pins at destruction; the filters must be stopped by then.
class PinConnection {
public:
    PinConnection(IPin* output, IPin* input, const AM_MEDIA_TYPE* type = nullptr)
        : output_(output), input_(input), status_(output->Connect(input, type)) {}
    ~PinConnection() { disconnect(); }
    PinConnection(const PinConnection&) = delete;
    PinConnection& operator=(const PinConnection&) = delete;

    HRESULT status() const noexcept { return status_; }
    void disconnect() {
        if (output_) output_->Disconnect();
        if (input_) input_->Disconnect();
        output_.reset();
        input_.reset();
    }

private:
    ComPtr<IPin> output_;
    ComPtr<IPin> input_;
    HRESULT status_;
};

/// Takes a filter's events, with the graph that they belong to. Lives on the stack and outlives the filter's
/// membership.
class FakeGraph final : public IFilterGraph, public IMediaEventSink {
public:
    struct Event {
        std::int32_t code;
        std::intptr_t param1;
        std::intptr_t param2;
    };

    HRESULT QueryInterface(const GUID& id, void** object) override {
        *object = nullptr;
        if (id == IMediaEventSink::iid) *object = static_cast<IMediaEventSink*>(this);
        if (id == IFilterGraph::iid || id == IUnknown::iid) *object = static_cast<IFilterGraph*>(this);
        return *object != nullptr ? S_OK : E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    HRESULT AddFilter(IBaseFilter* filter, const WCHAR* name) override { return filter->JoinFilterGraph(this, name); }
    HRESULT RemoveFilter(IBaseFilter* filter) override { return filter->JoinFilterGraph(nullptr, nullptr); }
    HRESULT Notify(std::int32_t code, std::intptr_t param1, std::intptr_t param2) override {
        events_.add({code, param1, param2});
        return S_OK;
    }

    /// False when it has not happened by the deadline.
    bool waitFor(const std::function<bool(const std::vector<Event>&)>& enough) { return events_.waitFor(enough); }
    std::vector<Event> events() { return events_.all(); }
    int count(std::int32_t code) {
        int found = 0;
        for (const Event& event : events()) found += event.code == code ? 1 : 0;
        return found;
    }

private:
    Notes<Event> events_;
};

/// The types of a pin: offered in order, and the only ones taken unless there is none.
struct TypeList {
    HRESULT check(const CMediaType& type) const {
        const auto isSame = [&type](const CMediaType& known) {
            return type.majortype == known.majortype && type.subtype == known.subtype;
        };
        return all.empty() || std::any_of(all.begin(), all.end(), isSame) ? S_OK : S_FALSE;
    }
    HRESULT give(int position, CMediaType& type) const {
        if (position < 0 || position >= static_cast<int>(all.size())) return VFW_S_NO_MORE_ITEMS;
        type = all[static_cast<std::size_t>(position)];
        return S_OK;
    }
    const std::vector<CMediaType> all;
};

/// A renderer with one input pin that takes any type, or the given ones, and keeps copies of what it receives.
/// Threads: the settings and questions from any.
class CollectingFilter final : public CBaseFilter {
public:
    struct Sample {
        std::vector<std::uint8_t> bytes;
        HRESULT timeStatus = S_OK;  ///< what GetTime gave
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        bool discontinuity = false;
        std::int32_t newBitRate = 0;  ///< by an in-line media type
        std::uint64_t dataId = 0;
        std::thread::id thread;
        std::chrono::steady_clock::time_point arrived;
    };

    /// Without types any type is taken and none is offered.
    explicit CollectingFilter(std::vector<CMediaType> types = {})
        : CBaseFilter("Collector", nullptr, &filterLock_, GUID_NULL), pin_(*this, std::move(types)) {}

    CBaseInputPin* input() noexcept { return &pin_; }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }

    /// The answer to ReceiveCanBlock; S_OK at first.
    void answerCanBlock(HRESULT status) { set(canBlock_, status); }
    /// Later samples are not kept and get this answer; S_OK takes them again.
    void failWith(HRESULT status) { set(answer_, status); }
    /// Holds every Receive until release().
    void block() { set(blocked_, true); }
    void release() { set(blocked_, false); }
    /// EndOfStream and NewSegment throw from now on, as no pin should.
    void throwAtCommands() { set(throwing_, true); }
    /// How long each Receive lasts from now on, beside what block() adds.
    void takeTime(std::chrono::milliseconds time) { set(slowness_, time); }
    /// Takes a reference on each sample until letGo(), so that the pool runs dry.
    void holdSamples() { set(holding_, true); }
    /// Gives back one sample of those held, and goes on holding.
    void letOneGo() {
        ComPtr<IMediaSample> oldest;
        const std::lock_guard hold(lock_);
        if (held_.empty()) return;
        oldest = std::move(held_.front());
        held_.erase(held_.begin());
    }
    void letGo() {
        std::vector<ComPtr<IMediaSample>> held;
        const std::lock_guard hold(lock_);
        holding_ = false;
        held.swap(held_);
    }

    std::vector<Sample> samples() { return get(samples_); }
    std::size_t sampleCount() {
        const std::lock_guard hold(lock_);
        return samples_.size();
    }
    /// All payload in one piece.
    std::vector<std::uint8_t> bytes() {
        std::vector<std::uint8_t> all;
        for (const Sample& sample : samples()) all.insert(all.end(), sample.bytes.begin(), sample.bytes.end());
        return all;
    }
    /// Lengths of the batches that came through ReceiveMultiple.
    std::vector<std::int32_t> batches() { return get(batches_); }
    /// Calls in the order in which they came: "sample", "end", "segment", "begin flush", "end flush".
    std::vector<std::string> calls() { return get(calls_); }
    int endsOfStream() { return count("end"); }
    int flushes() { return count("begin flush"); }

    /// All give false when it has not happened by the deadline.
    bool waitForSamples(std::size_t count) {
        return waitFor([&] { return samples_.size() >= count; });
    }
    bool waitForEnd() {
        return waitFor([&] { return std::find(calls_.begin(), calls_.end(), "end") != calls_.end(); });
    }
    bool waitUntilBlocked() {
        return waitFor([&] { return inside_; });
    }

private:
    class Pin final : public CBaseInputPin {
    public:
        Pin(CollectingFilter& filter, std::vector<CMediaType> types)
            : CBaseInputPin(&filter, &filter.filterLock_, u"In"), owner_(filter), types_{std::move(types)} {}

        HRESULT CheckMediaType(const CMediaType* type) override { return types_.check(*type); }
        HRESULT GetMediaType(int position, CMediaType* type) override { return types_.give(position, *type); }
        HRESULT Receive(IMediaSample* sample) override {
            const HRESULT status = CBaseInputPin::Receive(sample);
            return status == S_OK ? owner_.take(*sample) : status;
        }
        HRESULT ReceiveMultiple(IMediaSample** samples, std::int32_t count, std::int32_t* processed) override {
            {
                const std::lock_guard hold(owner_.lock_);
                owner_.batches_.push_back(count);
            }
            return CBaseInputPin::ReceiveMultiple(samples, count, processed);
        }
        HRESULT ReceiveCanBlock() override { return owner_.get(owner_.canBlock_); }
        HRESULT EndOfStream() override { return owner_.obey("end"); }
        HRESULT BeginFlush() override {
            owner_.note("begin flush");
            return CBaseInputPin::BeginFlush();
        }
        HRESULT EndFlush() override {
            owner_.note("end flush");
            return CBaseInputPin::EndFlush();
        }
        HRESULT NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return owner_.obey("segment"); }

    private:
        CollectingFilter& owner_;
        const TypeList types_;
    };

    template <class Value>
    void set(Value& member, Value value) {
        const std::lock_guard hold(lock_);
        member = value;
        changed_.notify_all();
    }
    template <class Value>
    Value get(const Value& member) {
        const std::lock_guard hold(lock_);
        return member;
    }
    int count(const char* call) {
        const std::lock_guard hold(lock_);
        return static_cast<int>(std::count(calls_.begin(), calls_.end(), call));
    }
    template <class Condition>
    bool waitFor(Condition&& condition) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, kDeadline, condition);
    }

    HRESULT take(IMediaSample& sample) {
        std::unique_lock hold(lock_);
        if (blocked_) {
            inside_ = true;
            changed_.notify_all();
            changed_.wait(hold, [this] { return !blocked_; });
            inside_ = false;
        }
        if (const auto time = slowness_; time.count() > 0) {
            hold.unlock();
            std::this_thread::sleep_for(time);
            hold.lock();
        }
        if (answer_ != S_OK) return answer_;
        if (holding_) held_.emplace_back(&sample);
        samples_.push_back(copy(sample));
        calls_.emplace_back("sample");
        changed_.notify_all();
        return S_OK;
    }
    void note(const char* call) {
        const std::lock_guard hold(lock_);
        calls_.emplace_back(call);
        changed_.notify_all();
    }
    HRESULT obey(const char* command) {
        note(command);
        if (get(throwing_)) throw std::runtime_error(command);
        return S_OK;
    }
    static Sample copy(IMediaSample& sample) {
        Sample result;
        std::uint8_t* data = nullptr;
        if (SUCCEEDED(sample.GetPointer(&data))) result.bytes.assign(data, data + sample.GetActualDataLength());
        result.timeStatus = sample.GetTime(&result.start, &result.stop);
        result.discontinuity = IsSampleDiscontinuity(sample);
        AM_MEDIA_TYPE* type = nullptr;
        if (sample.GetMediaType(&type) == S_OK) result.newBitRate = GetNominalBitRate(*type);
        DeleteMediaType(type);
        if (const auto sample3 = ComPtr<IMediaSample>(&sample).query<IMediaSample3>()) {
            GetSampleDataId(*sample3, result.dataId);
        }
        result.thread = std::this_thread::get_id();
        result.arrived = std::chrono::steady_clock::now();
        return result;
    }

    CCritSec filterLock_;
    std::mutex lock_;
    std::condition_variable changed_;
    HRESULT canBlock_ = S_OK;
    HRESULT answer_ = S_OK;
    bool blocked_ = false;
    bool throwing_ = false;
    bool holding_ = false;
    std::chrono::milliseconds slowness_{0};
    bool inside_ = false;
    std::vector<Sample> samples_;
    std::vector<ComPtr<IMediaSample>> held_;
    std::vector<std::string> calls_;
    std::vector<std::int32_t> batches_;
    Pin pin_;
};

/// What a fed sample carries beside its bytes.
struct FeedOptions {
    std::optional<REFERENCE_TIME> start = std::nullopt;
    bool discontinuity = false;
    std::optional<std::uint64_t> dataId = std::nullopt;
    AM_MEDIA_TYPE* inlineType = nullptr;
    std::uint32_t bufferFlags = 0;  ///< of GetDeliveryBuffer
};

/// A source with one output pin that offers the given types in order; the test calls deliver.
/// Threads: deliver from one at a time.
class FeedingFilter final : public CBaseFilter {
public:
    /// `least` raises what the input pin asks for: number and size of buffers, alignment, prefix.
    FeedingFilter(std::vector<CMediaType> types, const ALLOCATOR_PROPERTIES& least)
        : CBaseFilter("Feeder", nullptr, &filterLock_, GUID_NULL), pin_(*this, std::move(types), least) {}
    explicit FeedingFilter(const CMediaType& type, std::int32_t buffers = 16, std::int32_t bytes = 2048)
        : FeedingFilter(std::vector<CMediaType>{type}, {buffers, bytes, 0, 0}) {}

    CBaseOutputPin* output() noexcept { return &pin_; }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }

    /// Gets a buffer (waiting for one, unless the options say otherwise), fills it and delivers it on this thread.
    /// Gives the status of the step that failed, or that of Receive.
    HRESULT deliver(const std::vector<std::uint8_t>& bytes, const FeedOptions& options = {}) {
        ComPtr<IMediaSample> sample;
        HRESULT status = makeSample(bytes, options, sample);
        if (status == S_OK) status = pin_.Deliver(sample.get());
        return status;
    }
    /// The first half of deliver, for tests that deliver by themselves.
    HRESULT makeSample(const std::vector<std::uint8_t>& bytes, const FeedOptions& options,
                       ComPtr<IMediaSample>& sample) {
        HRESULT status = pin_.GetDeliveryBuffer(sample.put(), nullptr, nullptr, options.bufferFlags);
        if (SUCCEEDED(status)) status = sample->SetActualDataLength(static_cast<std::int32_t>(bytes.size()));
        if (FAILED(status)) return status;
        std::uint8_t* target = nullptr;
        sample->GetPointer(&target);
        if (!bytes.empty()) std::memcpy(target, bytes.data(), bytes.size());
        sample->SetTime(options.start ? &*options.start : nullptr, nullptr);
        sample->SetDiscontinuity(options.discontinuity ? 1 : 0);
        if (options.inlineType != nullptr) sample->SetMediaType(options.inlineType);
        if (options.dataId) setDataId(sample, *options.dataId);
        return S_OK;
    }
    HRESULT deliverEndOfStream() { return pin_.DeliverEndOfStream(); }

private:
    class Pin final : public CBaseOutputPin {
    public:
        Pin(FeedingFilter& filter, std::vector<CMediaType> types, const ALLOCATOR_PROPERTIES& least)
            : CBaseOutputPin(&filter, &filter.filterLock_, u"Out"), types_{std::move(types)}, least_(least) {}

        HRESULT CheckMediaType(const CMediaType* type) override { return types_.check(*type); }
        HRESULT GetMediaType(int position, CMediaType* type) override { return types_.give(position, *type); }
        HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
            request->cBuffers = std::max(request->cBuffers, least_.cBuffers);
            request->cbBuffer = std::max(request->cbBuffer, least_.cbBuffer);
            request->cbAlign = std::max(request->cbAlign, least_.cbAlign);
            request->cbPrefix = std::max(request->cbPrefix, least_.cbPrefix);
            ALLOCATOR_PROPERTIES actual;
            return allocator->SetProperties(request, &actual);
        }

    private:
        const TypeList types_;
        const ALLOCATOR_PROPERTIES least_;
    };

    static void setDataId(const ComPtr<IMediaSample>& sample, std::uint64_t id) {
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&id);
        const auto sample3 = sample.query<IMediaSample3>();
        if (sample3) sample3->SetMetaData(static_cast<std::int32_t>(MediaDataKey::DataId), bytes, sizeof id);
    }

    CCritSec filterLock_;
    Pin pin_;
};

}  // namespace test
