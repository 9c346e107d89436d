#include "streams/sender_end.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include "cli/configuration_file.h"
#include "cli/demand.h"
#include "cli/module_loader.h"
#include "filters/stopped_early.h"
#include "interfaces/class_ids.h"
#include "platform/native_thread.h"
#include "streams/notices.h"

namespace mcgate::host {

using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::
    IDelayCrossingPointFilter;

namespace {

constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::milliseconds kClockSettles{1050};
constexpr std::chrono::milliseconds kStillPresent{900};  // less than a look's second

const char* priorityName() {
    switch (platform::lastTimeCriticalClass()) {
        case platform::PriorityClass::RealTime:
            return "realtime";
        case platform::PriorityClass::Nice:
            return "nice";
        default:
            return "normal";
    }
}

std::optional<SavedConfiguration> savedDestinations(const SenderOptions& options) {
    if (options.load.empty()) return {};
    auto saved = readSenderConfiguration(options.load);
    if (options.destinations.empty() && std::get<SavedConfiguration::Sender>(saved.filter).loadable == 0) {
        throw UsageError(options.load + " holds no destination; right would be --to URL beside it");
    }
    return saved;
}

// A page may leave texts in the filter that are no addresses.
bool isUrl(const SendUrl& url) {
    try {
        parseSendUrl(urlText(url));
        return true;
    } catch (const UsageError&) {
        return false;
    }
}

}  // namespace

SenderEnd::SenderEnd(const SenderOptions& options, StreamLog& log, NoticeSink sink)
    : log_(log), sink_(std::move(sink)), paced_(!options.noPacing), watch_(sink_) {
    for (const auto& text : options.destinations) parseSendUrl(text);  // wrong use is told before all else
    const auto saved = savedDestinations(options);
    tellModule(CLSID_CNetworkSend, sink_);
    filter_ = host::create<IBaseFilter>(CLSID_CNetworkSend);
    made_ = std::chrono::steady_clock::now();
    config_ = filter_.query<ISenderConfig>();
    config_->SetLogPerf(&log_);
    if (saved) loadConfiguration(*filter_, *saved, options.load, log_);
    addDestinations(options.destinations);
    if (!options.save.empty()) saveConfiguration(*filter_, options.save);
    config_->SetTimeOffset(options.offsetMs);
    config_->EnablePacing(options.noPacing ? 0 : 1);
    crossing_ = filter_.query<IDelayCrossingPointFilter>();
    crossing_->SetInputCrossingCallback(&counter_.input());
    crossing_->SetOutputCrossingCallback(&counter_.output());
}

SenderEnd::~SenderEnd() {
    crossing_->SetInputCrossingCallback(nullptr);
    crossing_->SetOutputCrossingCallback(nullptr);
    config_->SetLogPerf(nullptr);
}

// Behind those that were loaded.
void SenderEnd::addDestinations(const std::vector<std::string>& destinations) {
    for (const auto& text : destinations) {
        SendUrl url = parseSendUrl(text);
        if (url.local.empty() && isGroup(url.remote)) {
            url.local = routedInterface(url.remote);
            tellChosenInterface(url.remote, url.local, sink_);
        }
        if (url.local.empty()) url.local = url.remote.find(':') != std::string::npos ? "::" : "0.0.0.0";
        std::int32_t index = -1;
        demand(config_->AddDestination(platform::toWide(url.remote).c_str(), url.port,
                                       platform::toWide(url.local).c_str(), &index),
               "can't send to " + text);
        if (const auto kept = destination(index)) given_[index] = {text, *kept};
    }
}

std::optional<SendUrl> SenderEnd::destination(std::int32_t index) const {
    platform::BstrPtr remote;
    platform::BstrPtr local;
    std::uint32_t port = 0;
    if (config_->GetDestination(index, remote.put(), &port, local.put()) != S_OK) return {};
    return SendUrl{platform::toNarrow(remote.get()), static_cast<std::uint16_t>(port), platform::toNarrow(local.get())};
}

// As it was given where the filter still has what that made of it.
std::string SenderEnd::textOf(std::int32_t index, const SendUrl& present) const {
    const auto given = given_.find(index);
    return given != given_.end() && given->second.kept == present ? given->second.text : urlText(present);
}

std::vector<SenderEnd::Given> SenderEnd::present() const {
    std::vector<Given> result;
    std::int32_t index = 0;
    while (const auto one = destination(index)) {
        result.push_back({textOf(index, *one), *one});
        ++index;
    }
    return result;
}

std::vector<std::string> SenderEnd::destinations() const {
    std::vector<std::string> result;
    for (const auto& one : present()) {
        if (isUrl(one.kept)) result.push_back(one.text);
    }
    return result;
}

std::vector<StreamValues::Destination> SenderEnd::lookAtDestinations() {
    std::vector<StreamValues::Destination> result;
    for (const auto& one : inUse_) {
        if (isUrl(one.kept)) result.push_back(watch_.look(one.text, one.kept));
    }
    return result;
}

// The sender's clock estimate begins at its creation, before it has the graph's clock. A first look at that clock a
// second or more later is taken over whole; an earlier one in part only, and the rest would pass for time elapsed in
// the stream.
void SenderEnd::prepare(FilterGraph& graph, const std::function<bool()>& stopRequested) {
    while (std::chrono::steady_clock::now() - made_ < kClockSettles) {
        if (stopRequested()) throw StoppedEarly("stopped before the sender's clock had settled");
        graph.nextEvent(kLook);
    }
    inUse_ = present();
    watch_.restart();
    lookAtDestinations();  // just before the filter makes its sockets
}

void SenderEnd::confirm() const {
    if (present() != inUse_) throw std::runtime_error("the destinations were changed while the sender started");
}

// Once for each change. An interface that is gone has no name any more, so the first one is kept.
void SenderEnd::heed(const FilterGraph::Event& event) {
    if (event.code != ISenderConfig::kInterfaceEvent) return;
    const auto index = static_cast<std::uint32_t>(event.p1);
    const bool up = event.p2 != 0;
    const auto [told, isFirst] = interfaces_.try_emplace(index);
    if (isFirst) told->second = {index, interfaceName(index), up};
    if (!isFirst && std::exchange(told->second.up, up) == up) return;
    tellInterfaceState(told->second, sink_);
}

void SenderEnd::restart(bool measuresSpacing) {
    counter_.restart(measuresSpacing);
    lastDatagrams_ = 0;
    grewAt_ = {};
}

void SenderEnd::fill(StreamValues& values, std::uint64_t delivered) {
    const auto counts = counter_.counts();
    values.datagrams = counts.datagrams;
    values.bytes = counts.bytes;
    values.droppedSamples = delivered > counts.accepted ? delivered - counts.accepted : 0;
    const auto now = std::chrono::steady_clock::now();
    if (counts.datagrams > lastDatagrams_) grewAt_ = now;
    values.dataPresent = now - grewAt_ < kStillPresent;
    lastDatagrams_ = counts.datagrams;
    values.priority = priorityName();
    if (paced_) values.holdBackMs = log_.holdBackMs();
    values.queuedSamples = counts.queued;
    for (const auto& [index, state] : interfaces_) values.interfaces[state.name] = state.up;
    values.destinations = lookAtDestinations();
}

}  // namespace mcgate::host
