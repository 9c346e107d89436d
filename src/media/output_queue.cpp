#include "media/output_queue.h"

#include <algorithm>
#include <new>
#include <utility>

#include "foundation/status.h"
#include "platform/native_thread.h"

using mcgate::foundation::guarded;  // downstream is a host's: what it throws must not end the thread that calls it
using quorvel::system::thread::v1::kStartRunning;
using quorvel::system::thread::v1::Thread;

namespace {

std::size_t atLeast(std::int32_t value, std::int32_t least) { return static_cast<std::size_t>(std::max(value, least)); }

}  // namespace

COutputQueue::COutputQueue(IPin* input, HRESULT* status, const OutputQueueSettings& settings)
    : settings_(settings), pin_(input), inputPin_(pin_.query<IMemInputPin>()), list_(atLeast(settings.listSize, 0)) {
    if (!inputPin_) {
        status_ = E_NOINTERFACE;  // kept like one from downstream, so that samples are let go
        if (status != nullptr) *status = status_;
        return;
    }
    batch_.reserve(atLeast(settings.batchSize, 1));
    spare_.reserve(batch_.capacity());
    bool threaded = settings.queue;
    if (settings.automatic) {
        const HRESULT canBlock = inputPin_->ReceiveCanBlock();
        if (SUCCEEDED(canBlock)) threaded = canBlock == S_OK;
    }
    if (threaded) worker_ = std::make_unique<Thread>([this] { work(); }, kStartRunning);
}

COutputQueue::~COutputQueue() {
    if (worker_) {
        {
            const std::lock_guard hold(lock_);
            ending_ = true;
        }
        wake_.notify_one();
        worker_->Wait();
    }
    releaseAll(list_, batch_);
}

bool COutputQueue::hasThread() const noexcept { return worker_ != nullptr; }

HRESULT COutputQueue::Receive(IMediaSample* sample) {
    std::int32_t processed = 0;
    return ReceiveMultiple(&sample, 1, &processed);
}

HRESULT COutputQueue::ReceiveMultiple(IMediaSample** samples, std::int32_t count, std::int32_t* processed) {
    Hold hold(lock_);
    flushed_ = false;
    std::int32_t taken = 0;
    HRESULT status = S_OK;
    try {
        for (; taken < count && status_ == S_OK; ++taken) acceptSample(samples[taken], hold);
        if (!worker_ && !settings_.batchExact) sendBatch(hold);
    } catch (const std::bad_alloc&) {
        status = E_OUTOFMEMORY;
    }
    if (status == S_OK) status = status_;
    if (worker_) wakeWorker(hold);
    if (hold.owns_lock()) hold.unlock();
    *processed = taken;
    for (; taken < count; ++taken) samples[taken]->Release();
    return status;
}

void COutputQueue::acceptSample(IMediaSample* sample, Hold& hold) {
    if (worker_) {
        list_.push({Kind::Sample, sample, {}});
        return;
    }
    batch_.push_back(sample);
    if (batch_.size() >= atLeast(settings_.batchSize, 1)) sendBatch(hold);
}

void COutputQueue::SendAnyway() {
    Hold hold(lock_);
    if (worker_) {
        queueCommand({Kind::Send, nullptr, {}}, hold);
    } else {
        sendBatch(hold);
    }
}

void COutputQueue::EOS() {
    Hold hold(lock_);
    flushed_ = false;
    if (worker_) {
        queueCommand({Kind::EndOfStream, nullptr, {}}, hold);
    } else {
        sendEndOfStream(hold);
    }
}

void COutputQueue::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    Hold hold(lock_);
    flushed_ = false;
    if (worker_) {
        queueCommand({Kind::Segment, nullptr, {start, stop, rate}}, hold);
    } else {
        sendSegment({start, stop, rate}, hold);
    }
}

void COutputQueue::queueCommand(const Item& item, Hold& hold) {
    if (status_ != S_OK) return;
    list_.push(item);
    wakeWorker(hold);
}

void COutputQueue::wakeWorker(Hold& hold) {
    const bool asleep = std::exchange(sleeping_, false);
    hold.unlock();
    if (asleep) wake_.notify_one();
}

void COutputQueue::BeginFlush() {
    Hold hold(lock_);
    status_ = S_FALSE;
    if (settings_.flushingOption && flushed_) return;
    std::vector<IMediaSample*> batched;
    batched.reserve(batch_.capacity());
    batched.swap(batch_);
    mcgate::foundation::GrowingRing<Item> items(std::move(list_));
    emptyEvent_.set();
    hold.unlock();
    releaseAll(items, batched);
    if (pin_) pin_->BeginFlush();
}

void COutputQueue::EndFlush() {
    Hold hold(lock_);
    if (!settings_.flushingOption || !flushed_) {
        // A delivery from before the flush must not leave its status to what comes after.
        ++flushWaiters_;
        delivered_.wait(hold, [this] { return inProgress_ == 0; });
        --flushWaiters_;
        hold.unlock();
        if (pin_) pin_->EndFlush();
        hold.lock();
    }
    flushed_ = true;
    if (inputPin_) status_ = S_OK;
}

bool COutputQueue::IsIdle() {
    const std::lock_guard hold(lock_);
    return list_.empty() && batch_.empty() && inProgress_ == 0;
}

void COutputQueue::WaitUntilEmpty() {
    if (!worker_) return;
    {
        const std::lock_guard hold(lock_);
        if (list_.empty()) return;
        emptyEvent_.reset();
    }
    mcgate::platform::wait(emptyEvent_, mcgate::platform::kInfinite);
}

void COutputQueue::work() {
    mcgate::platform::setCurrentThreadPriority(settings_.priority);
    Hold hold(lock_);
    while (!ending_) {
        if (list_.empty()) {
            onListEmpty(hold);
        } else {
            handle(list_.pop(), hold);
        }
    }
}

void COutputQueue::onListEmpty(Hold& hold) {
    emptyEvent_.set();
    if (!batch_.empty() && !settings_.batchExact) {
        sendBatch(hold);
        return;
    }
    // Each wake-up comes back here and sets the event anew, also when a flush took away what it was for.
    sleeping_ = true;
    wake_.wait(hold);
    sleeping_ = false;
}

void COutputQueue::handle(const Item& item, Hold& hold) {
    switch (item.kind) {
        case Kind::Sample:
            batch_.push_back(item.sample);
            if (batch_.size() >= atLeast(settings_.batchSize, 1)) sendBatch(hold);
            return;
        case Kind::Send:
            sendBatch(hold);
            return;
        case Kind::EndOfStream:
            sendEndOfStream(hold);
            return;
        case Kind::Segment:
            sendSegment(item.segment, hold);
            return;
    }
}

/// Runs `call` without the lock, as one call into downstream.
template <class Call>
void COutputQueue::callDownstream(Call&& call, Hold& hold) {
    ++inProgress_;
    hold.unlock();
    call();
    hold.lock();
    --inProgress_;
    if (flushWaiters_ > 0) delivered_.notify_all();
}

void COutputQueue::sendBatch(Hold& hold) {
    if (batch_.empty()) return;
    std::vector<IMediaSample*> samples = std::move(spare_);
    samples.swap(batch_);
    const bool wanted = status_ == S_OK;
    HRESULT status = S_OK;
    const auto deliver = [&] {
        std::int32_t processed = 0;
        const auto count = static_cast<std::int32_t>(samples.size());
        if (wanted) status = guarded([&] { return inputPin_->ReceiveMultiple(samples.data(), count, &processed); });
        for (IMediaSample* sample : samples) sample->Release();
    };
    callDownstream(deliver, hold);
    samples.clear();
    spare_ = std::move(samples);
    if (status_ == S_OK) status_ = status;
}

void COutputQueue::sendEndOfStream(Hold& hold) {
    sendBatch(hold);
    if (status_ != S_OK) return;
    callDownstream([this] { guarded([this] { return pin_->EndOfStream(); }); }, hold);
}

void COutputQueue::sendSegment(const Segment& segment, Hold& hold) {
    sendBatch(hold);
    if (status_ != S_OK) return;
    const auto tell = [&] { return pin_->NewSegment(segment.start, segment.stop, segment.rate); };
    callDownstream([&] { guarded(tell); }, hold);
}

void COutputQueue::releaseAll(mcgate::foundation::GrowingRing<Item>& items, const std::vector<IMediaSample*>& batched) {
    while (!items.empty()) {
        if (IMediaSample* sample = items.pop().sample) sample->Release();
    }
    for (IMediaSample* sample : batched) sample->Release();
}
