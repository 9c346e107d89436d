#include "filters/file_sink.h"

#include <new>
#include <stdexcept>

#include "filters/transport_stream_type.h"
#include "foundation/status.h"
#include "platform/clock.h"

namespace mcgate::host {

class FileSink::Pin final : public CBaseInputPin {
public:
    Pin(FileSink& sink, CCritSec* lock) : CBaseInputPin(&sink, lock, u"Input"), sink_(sink) {}
    // Only a file's reader makes it wait: what is measured alone needs no thread between the socket and here.
    HRESULT ReceiveCanBlock() override { return sink_.path_.empty() ? S_FALSE : S_OK; }
    HRESULT CheckMediaType(const CMediaType* type) override { return checkTransportStream(*type); }
    HRESULT Receive(IMediaSample* sample) override {
        const HRESULT status = CBaseInputPin::Receive(sample);
        return status == S_OK ? sink_.take(*sample) : status;
    }
    HRESULT EndOfStream() override {
        sink_.flush();
        filter_->NotifyEvent(EC_COMPLETE, 0, 0);
        return S_OK;
    }
    HRESULT Active() override {
        sink_.stopping_ = false;
        return CBaseInputPin::Active();
    }
    // A Receive that waits for a stalled reader holds the file's lock, so it is told first.
    HRESULT Inactive() override {
        sink_.stopping_ = true;
        sink_.flush();
        return CBaseInputPin::Inactive();
    }

private:
    FileSink& sink_;
};

platform::ComPtr<FileSink> FileSink::create(const std::string& path, std::function<bool()> stopRequested,
                                            OutputFile::Begin begin) {
    if (!path.empty()) OutputFile::check(path);
    return platform::ComPtr<FileSink>(new FileSink(path, std::move(stopRequested), begin));
}

FileSink::FileSink(const std::string& path, std::function<bool()> stopRequested, OutputFile::Begin begin)
    : CBaseFilter(nullptr, nullptr, &filterLock_, GUID_NULL),
      path_(path),
      stopRequested_(std::move(stopRequested)),
      begin_(begin) {
    pin_ = std::make_unique<Pin>(*this, &filterLock_);
}

FileSink::~FileSink() = default;

CBasePin* FileSink::GetPin(int index) { return index == 0 ? pin_.get() : nullptr; }

SinkFigures FileSink::figures() {
    SinkFigures result{datagrams_, bytes_, meter_.figures(), {}};
    const std::lock_guard hold(lock_);
    result.error = error_;
    return result;
}

void FileSink::openFile() {
    const std::unique_lock hold(fileLock_, std::try_to_lock);
    if (hold) openLocked();
}

void FileSink::openLocked() {
    if (path_.empty() || file_) return;
    file_ = std::make_unique<OutputFile>(
        path_, [this] { return stopping_.load() || stopRequested_(); }, begin_);
}

HRESULT FileSink::take(IMediaSample& sample) noexcept {
    try {
        std::uint8_t* data = nullptr;
        if (FAILED(sample.GetPointer(&data))) return S_OK;
        takeBytes(data, static_cast<std::size_t>(sample.GetActualDataLength()));
        return S_OK;
    } catch (...) {
        keepFailure();
        NotifyEvent(EC_ERRORABORT, E_FAIL, 0);
        return E_FAIL;
    }
}

void FileSink::takeBytes(const std::uint8_t* data, std::size_t size) {
    meter_.add(data, size, platform::monotonicTime());
    {
        const std::lock_guard hold(fileLock_);
        openLocked();
        if (file_) file_->write(data, size);
        if (file_ && stopping_) file_->flush();  // the one of Inactive may have been before
    }
    ++datagrams_;
    bytes_ += size;
}

void FileSink::flush() noexcept {
    try {
        const std::lock_guard hold(fileLock_);
        if (!file_) return;
        file_->flush();
        if (file_->givenUp() == 0) return;
        throw std::runtime_error(std::to_string(file_->givenUp()) + " bytes and what came behind them not written to " +
                                 file_->name() + ": its reader stalled");
    } catch (...) {
        keepFailure();
    }
}

// The first one tells why; those behind it follow from it.
void FileSink::keepFailure() noexcept {
    try {
        std::string text = foundation::textOfCurrentException();
        const std::lock_guard hold(lock_);
        if (error_.empty()) error_ = std::move(text);
    } catch (const std::bad_alloc&) {  // the failure's status still goes up the stream
    }
}

}  // namespace mcgate::host
