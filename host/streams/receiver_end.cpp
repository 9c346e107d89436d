#include "streams/receiver_end.h"

#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "cli/module_loader.h"
#include "interfaces/class_ids.h"
#include "streams/notices.h"

namespace mcgate::host {

ReceiverEnd::ReceiverEnd(const ReceiverOptions& options, StreamLog& log, const NoticeSink& sink)
    : name_(options.load.empty() ? options.url : options.load),
      saved_(options.load.empty() ? std::optional<SavedConfiguration>() : readReceiverConfiguration(options.load)),
      url_(saved_ ? std::get<SavedConfiguration::Receiver>(saved_->filter).source : parseReceiveUrl(options.url)),
      log_(log) {
    if (url_.local.empty()) {
        url_.local = routedInterface(url_.group);
        tellChosenInterface(url_.group, url_.local, sink);
    }
    tellModule(CLSID_CNetworkReceiverFilter, sink);
    filter_ = host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
    config_ = filter_.query<ISourceConfig>();
    config_->SetLogPerf(&log_);
    config_->SetTimeout(options.timeoutMs);
    configure();
    kept_ = present();
    restart();
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
    const auto now = present();
    const bool changed = now != kept_;
    const std::string& local = changed && now ? now->local : url_.local;
    const std::string reason =
        status == E_FAIL ? local + " is no address of this host, or the port is taken" : GetStatusText(status);
    return "can't receive " + (changed ? source() : name_) + ": " + reason;
}

std::optional<ReceiveUrl> ReceiverEnd::present() const {
    platform::BstrPtr group;
    platform::BstrPtr local;
    platform::BstrPtr source;
    std::uint32_t port = 0;
    if (FAILED(config_->GetSource(group.put(), &port, local.put(), source.put()))) return {};
    return ReceiveUrl{platform::toNarrow(source.get()), platform::toNarrow(group.get()),
                      platform::toNarrow(local.get()), static_cast<std::uint16_t>(port)};
}

std::string ReceiverEnd::source() const {
    const auto now = present();
    return now && now != kept_ ? urlText(*now) : name_;
}

void ReceiverEnd::restart() {
    const auto now = present();
    drops_.emplace(now ? now->port : url_.port);
}

void ReceiverEnd::fill(StreamValues& values) {
    std::uint8_t present = 0;
    config_->GetDataPresent(&present);
    values.dataPresent = present != 0;
    values.kernelDrops = drops_->update();
    if (values.kernelDrops.value_or(0) > 0) values.kernelDropsHint = drops_->hint();
    values.bufferFullNotices = log_.bufferFullNotices();
}

}  // namespace mcgate::host
