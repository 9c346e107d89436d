#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/growing_ring.h"
#include "foundation/thread.h"
#include "media/host/interfaces.h"
#include "platform/waitable.h"

/// How a COutputQueue is made.
struct OutputQueueSettings {
    bool automatic = true;  ///< ask the downstream pin's ReceiveCanBlock: S_OK gives a thread, S_FALSE direct delivery
    bool queue = true;      ///< a thread, where `automatic` is off or the pin does not say
    std::int32_t batchSize = 1;
    bool batchExact = false;    ///< deliver full batches only
    std::int32_t listSize = 0;  ///< expected length of the list; not a bound
    int priority = 0;           ///< of the thread
    bool flushingOption = false;
};

/// Stands between an output pin and the downstream IMemInputPin: delivers on the caller's thread, or through a thread
/// of its own, so that a slow downstream does not hold the caller.
///
/// Threads: any for Receive, ReceiveMultiple, EOS and flush; the worker delivers. One lock over list, batch and status,
/// not held while delivering. Receive and EOS never wait in queue mode. The destructor ends the worker (after the
/// delivery in progress) and releases what is left. Status: once downstream gave anything but S_OK, that is kept: later
/// samples are released, no end of stream is sent.
class COutputQueue {
public:
    /// Writes a failure to `*status`: `input` gives no IMemInputPin. Throws ATL::CAtlException or std::system_error
    /// when the event or the thread can't be made.
    COutputQueue(IPin* input, HRESULT* status, const OutputQueueSettings& settings);
    ~COutputQueue();
    COutputQueue(const COutputQueue&) = delete;
    COutputQueue& operator=(const COutputQueue&) = delete;

    /// Takes over the caller's reference, in either mode and whatever it returns.
    HRESULT Receive(IMediaSample* sample);
    HRESULT ReceiveMultiple(IMediaSample** samples, std::int32_t count, std::int32_t* processed);
    /// Sends a partial batch that is waiting.
    void SendAnyway();
    /// End of stream, behind all samples before it.
    void EOS();
    void BeginFlush();
    void EndFlush();
    void NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);
    /// Nothing queued and nothing batched.
    bool IsIdle();
    /// Waits, without limit, until the worker found the list empty; at once without a worker or with an empty list.
    /// With a batch size of 1 everything queued before has then been handed downstream.
    void WaitUntilEmpty();

    bool hasThread() const noexcept;

private:
    using Hold = std::unique_lock<std::mutex>;
    enum class Kind { Sample, Send, EndOfStream, Segment };
    struct Segment {
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        double rate = 0;
    };
    struct Item {
        Kind kind = Kind::Sample;
        IMediaSample* sample = nullptr;  ///< one reference, of Kind::Sample only
        Segment segment;                 ///< of Kind::Segment only
    };

    void work();
    void onListEmpty(Hold& hold);
    void handle(const Item& item, Hold& hold);
    void wakeWorker(Hold& hold);
    void queueCommand(const Item& item, Hold& hold);
    void acceptSample(IMediaSample* sample, Hold& hold);
    void sendBatch(Hold& hold);
    void sendEndOfStream(Hold& hold);
    void sendSegment(const Segment& segment, Hold& hold);
    template <class Call>
    void callDownstream(Call&& call, Hold& hold);
    static void releaseAll(mcgate::foundation::GrowingRing<Item>& items, const std::vector<IMediaSample*>& batched);

    const OutputQueueSettings settings_;
    mcgate::platform::ComPtr<IPin> pin_;
    mcgate::platform::ComPtr<IMemInputPin> inputPin_;
    mcgate::platform::Event emptyEvent_{mcgate::platform::Event::Reset::Automatic};

    std::mutex lock_;  // over what follows
    std::condition_variable wake_;
    std::condition_variable delivered_;
    mcgate::foundation::GrowingRing<Item> list_;
    std::vector<IMediaSample*> batch_;
    std::vector<IMediaSample*> spare_;  ///< takes the batch's place while that is delivered
    HRESULT status_ = S_OK;
    int inProgress_ = 0;  ///< calls into downstream
    int flushWaiters_ = 0;
    bool sleeping_ = false;  ///< the worker waits and nobody has woken it yet
    bool ending_ = false;
    bool flushed_ = true;  ///< nothing came since the last flush

    std::unique_ptr<quorvel::system::thread::v1::Thread> worker_;  ///< last: starts when all else is there
};
