#include "filters/file_sink.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/clock.h"

namespace mcgate::host {

class FileSink::Pin final : public CBaseInputPin {
public:
    Pin(FileSink& sink, CCritSec* lock) : CBaseInputPin(&sink, lock, u"Input"), sink_(sink) {}
    HRESULT CheckMediaType(const CMediaType* type) override {
        const bool known = type->majortype == MEDIATYPE_Stream && type->subtype == MEDIASUBTYPE_MPEG2_TRANSPORT;
        return known ? S_OK : S_FALSE;
    }
    HRESULT Receive(IMediaSample* sample) override {
        const HRESULT status = CBaseInputPin::Receive(sample);
        return status == S_OK ? sink_.take(*sample) : status;
    }
    HRESULT EndOfStream() override {
        sink_.flush();
        filter_->NotifyEvent(EC_COMPLETE, 0, 0);
        return S_OK;
    }
    HRESULT Inactive() override {
        sink_.flush();
        return CBaseInputPin::Inactive();
    }

private:
    FileSink& sink_;
};

platform::ComPtr<FileSink> FileSink::create(const std::string& path) {
    return platform::ComPtr<FileSink>(new FileSink(path));
}

FileSink::FileSink(const std::string& path) : CBaseFilter(nullptr, nullptr, &filterLock_, GUID_NULL), path_(path) {
    pin_ = std::make_unique<Pin>(*this, &filterLock_);
    if (path.empty()) return;
    file_.reset(path == "-" ? fdopen(dup(STDOUT_FILENO), "wb") : std::fopen(path.c_str(), "wb"));
    if (!file_) throw std::runtime_error("can't write " + path + ": " + std::strerror(errno));
}

FileSink::~FileSink() = default;

CBasePin* FileSink::GetPin(int index) { return index == 0 ? pin_.get() : nullptr; }

SinkFigures FileSink::figures() {
    const std::lock_guard hold(lock_);
    SinkFigures result = figures_;
    result.stream = meter_.figures();
    return result;
}

HRESULT FileSink::take(IMediaSample& sample) {
    const std::int64_t arrival = platform::monotonicTime();
    std::uint8_t* data = nullptr;
    if (FAILED(sample.GetPointer(&data))) return S_OK;
    const auto size = static_cast<std::size_t>(sample.GetActualDataLength());
    meter_.add(data, size, arrival);
    const bool written = !file_ || std::fwrite(data, 1, size, file_.get()) == size;
    const std::lock_guard hold(lock_);
    ++figures_.datagrams;
    figures_.bytes += size;
    figures_.lastArrival = arrival;
    if (written) return S_OK;
    figures_.error = "can't write " + path_ + ": " + std::strerror(errno);
    NotifyEvent(EC_ERRORABORT, E_FAIL, 0);
    return E_FAIL;
}

void FileSink::flush() {
    if (!file_ || std::fflush(file_.get()) == 0) return;
    const std::lock_guard hold(lock_);
    if (figures_.error.empty()) figures_.error = "can't write " + path_ + ": " + std::strerror(errno);
}

}  // namespace mcgate::host
