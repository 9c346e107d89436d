#include "cli/receiver_end.h"

#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "cli/module_loader.h"
#include "interfaces/class_ids.h"

namespace mcgate::host {

ReceiverEnd::ReceiverEnd(const ReceiverOptions& options, HostLog& log, Report& report)
    : name_(options.load.empty() ? options.url : options.load),
      saved_(options.load.empty() ? std::optional<SavedConfiguration>() : readReceiverConfiguration(options.load)),
      url_(saved_ ? std::get<SavedConfiguration::Receiver>(saved_->filter).source : parseReceiveUrl(options.url)),
      log_(log),
      drops_(url_.port) {
    if (url_.local.empty()) {
        url_.local = routedInterface(url_.group);
        report.tellInterface(url_.group, url_.local);
    }
    report.tellModule(moduleOf(CLSID_CNetworkReceiverFilter));
    filter_ = host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
    config_ = filter_.query<ISourceConfig>();
    config_->SetLogPerf(&log_);
    config_->SetTimeout(options.timeoutMs);
    configure();
}

void ReceiverEnd::configure() {
    if (saved_) {
        loadConfiguration(*filter_, *saved_, name_, log_);
        return;
    }
    demand(config_->SetSource(url_.port, platform::toWide(url_.local).c_str(), platform::toWide(url_.group).c_str(),
                              platform::toWide(url_.source).c_str()),
           "can't receive " + name_);
}

ReceiverEnd::~ReceiverEnd() { config_->SetLogPerf(nullptr); }

// The receiver gives E_FAIL for whatever the socket refuses.
std::string ReceiverEnd::whyNot(HRESULT status) const {
    const std::string reason =
        status == E_FAIL ? url_.local + " is no address of this host, or the port is taken" : GetStatusText(status);
    return "can't receive " + name_ + ": " + reason;
}

void ReceiverEnd::fill(StreamValues& values) {
    std::uint8_t present = 0;
    config_->GetDataPresent(&present);
    values.dataPresent = present != 0;
    values.kernelDrops = drops_.update();
    if (values.kernelDrops.value_or(0) > 0) values.kernelDropsHint = drops_.hint();
    values.bufferFullNotices = log_.bufferFullNotices();
}

}  // namespace mcgate::host
