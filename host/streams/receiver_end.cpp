#include "streams/receiver_end.h"

#include <algorithm>

#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "cli/module_loader.h"
#include "interfaces/class_ids.h"
#include "platform/socket.h"
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

namespace {

// The receiver gives E_FAIL for whatever the socket refuses.
std::string refusalOf(const std::string& local, const std::string& url) {
    platform::SocketAddress address;
    if (platform::resolveNumeric(local, 0, address) == 0) {
        auto socket = platform::Socket::openDatagram(address.family());
        if (socket.valid() && !isLinkLocal(address) && !socket.bind(address)) {
            return local + " is no address of this host; right would be one that 'mcgate interfaces' lists";
        }
    }
    return "its port is taken, or a group can't be joined; right would be what mcgate check '" + url + "' tells";
}

}  // namespace

std::string ReceiverEnd::whyNot(HRESULT status) const {
    const auto now = present();
    const bool changed = now != kept_;
    const std::string url = changed ? source() : name_;
    return "can't receive " + url + ": " +
           (status == E_FAIL ? refusalOf(changed && now ? now->local : url_.local, url) : GetStatusText(status));
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
    return now && (saved_ || now != kept_) ? urlText(*now) : name_;
}

std::int32_t ReceiverEnd::timeoutMs() const {
    std::uint32_t timeout = 0;
    config_->GetTimeout(&timeout);
    return static_cast<std::int32_t>(std::min<std::uint32_t>(timeout, INT32_MAX));
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
