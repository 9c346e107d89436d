#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "io/output_file.h"
#include "media/host/base_filter.h"
#include "media/host/base_input_pin.h"
#include "ts/stream_meter.h"

namespace mcgate::host {

struct SinkFigures {
    std::uint64_t datagrams = 0;
    std::uint64_t bytes = 0;
    StreamMeter::Figures stream;
    std::string error;
};

/// Writes what it receives to a file and measures it. A reader that stalls holds the stream up; stopping the filter, or
/// the host's stop request, lets go of what can't be written (see OutputFile).
///
/// Threads: graph threads; the upstream queue's in Receive; figures by any. Locks: fileLock_ around opening and
/// writing, so held while a reader is waited for; lock_ is a leaf.
class FileSink final : public CBaseFilter {
public:
    /// `path` may be empty (nothing is written) or "-" (standard output). Throws std::runtime_error with path and
    /// reason for one that can't be written; the file itself is made by openFile or the first sample.
    static platform::ComPtr<FileSink> create(
        const std::string& path, std::function<bool()> stopRequested = [] { return false; },
        OutputFile::Begin begin = OutputFile::Begin::Empty);

    /// Makes the file if it isn't there yet; throws as create does. Waits for nobody: a sample that is being written
    /// has made it, or will.
    void openFile();
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override;
    /// All there is to tell; sums up the measurements, so it belongs into a report, not into a loop.
    SinkFigures figures();
    std::uint64_t datagrams() const noexcept { return datagrams_.load(); }

private:
    class Pin;
    FileSink(const std::string& path, std::function<bool()> stopRequested, OutputFile::Begin begin);
    ~FileSink() override;
    HRESULT take(IMediaSample& sample) noexcept;
    void takeBytes(const std::uint8_t* data, std::size_t size);
    void openLocked();
    void flush() noexcept;
    void keepFailure() noexcept;

    CCritSec filterLock_;
    std::unique_ptr<Pin> pin_;
    const std::string path_;
    const std::function<bool()> stopRequested_;
    const OutputFile::Begin begin_;
    std::atomic<bool> stopping_{false};
    std::mutex fileLock_;
    std::unique_ptr<OutputFile> file_;
    StreamMeter meter_;
    std::atomic<std::uint64_t> datagrams_{0};
    std::atomic<std::uint64_t> bytes_{0};
    std::mutex lock_;
    std::string error_;  ///< under lock_
};

}  // namespace mcgate::host
