#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/kernel_drops.h"
#include "cli/saved_configuration.h"
#include "cli/url.h"
#include "graph/filter_graph.h"
#include "interfaces/i_source_config.h"
#include "streams/stream_log.h"
#include "streams/stream_values.h"

namespace mcgate::host {

struct ReceiverOptions {
    std::string url;   ///< or load, one of the two
    std::string load;  ///< file of saved configuration
    std::int32_t timeoutMs = 5000;
};

/// The receiver filter as a stream uses it: made, configured, and unplugged when the object goes. The graph is torn
/// down by then; the log outlives it. One thread, but for source, present and timeoutMs.
class ReceiverEnd {
public:
    /// Throws UsageError for a wrong URL or a file that holds no receiver's configuration, std::runtime_error for what
    /// could not be set up.
    ReceiverEnd(const ReceiverOptions& options, StreamLog& log, const NoticeSink& sink);
    ~ReceiverEnd();
    ReceiverEnd(const ReceiverEnd&) = delete;
    ReceiverEnd& operator=(const ReceiverEnd&) = delete;

    IBaseFilter* filter() const noexcept { return filter_.get(); }
    platform::ComPtr<IPin> output() const { return findPin(*filter_, PINDIR_OUTPUT); }
    /// The text for a graph that did not start because of this filter.
    std::string whyNot(HRESULT status) const;
    /// What the receiver and the kernel know for a report.
    void fill(StreamValues& values);
    /// The counts begin anew.
    void restart();
    /// The URL of what it receives by now; as it was given where the filter still has what that made of it.
    std::string source() const;
    /// The same as the filter has it; nothing where it has none.
    std::optional<ReceiveUrl> present() const;
    /// The time-out that it has by now, in ms.
    std::int32_t timeoutMs() const;

private:
    void configure();

    const std::string name_;  ///< of what is received, for messages
    const std::optional<SavedConfiguration> saved_;
    ReceiveUrl url_;
    StreamLog& log_;
    std::optional<KernelDrops> drops_;
    std::optional<ReceiveUrl> kept_;  ///< what was given, as the filter gave it back
    platform::ComPtr<IBaseFilter> filter_;
    platform::ComPtr<ISourceConfig> config_;
};

}  // namespace mcgate::host
