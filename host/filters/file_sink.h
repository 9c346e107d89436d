#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "media/host/base_filter.h"
#include "media/host/base_input_pin.h"
#include "ts/stream_meter.h"

namespace mcgate::host {

struct SinkFigures {
    std::uint64_t datagrams = 0;
    std::uint64_t bytes = 0;
    std::int64_t lastArrival = 0;  ///< platform::monotonicTime, 0 before the first
    StreamMeter::Figures stream;
    std::string error;
};

/// Writes what it receives to a file and measures it. Threads: graph threads; the upstream queue's in Receive; figures
/// by any.
class FileSink final : public CBaseFilter {
public:
    /// `path` may be empty (nothing is written) or "-" (standard output). Throws std::runtime_error with path and
    /// reason.
    static platform::ComPtr<FileSink> create(const std::string& path);

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override;
    SinkFigures figures();

private:
    class Pin;
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    explicit FileSink(const std::string& path);
    ~FileSink() override;
    HRESULT take(IMediaSample& sample);
    void flush();

    CCritSec filterLock_;
    std::unique_ptr<Pin> pin_;
    const std::string path_;
    std::unique_ptr<std::FILE, Closer> file_;
    StreamMeter meter_;
    std::mutex lock_;
    SinkFigures figures_;
};

}  // namespace mcgate::host
