#include "soak/road.h"

#include <cstdio>
#include <stdexcept>
#include <thread>

#include "cli/module_loader.h"
#include "foundation/status.h"
#include "interfaces/class_ids.h"
#include "media/host/base_pin.h"
#include "soak/numbered_sample.h"
#include "support/calling_filter.h"

namespace soak {

using mcgate::host::findPin;
using mcgate::platform::ComPtr;
using mcgate::platform::toWide;
using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::
    IDelayCrossingPointFilter;

namespace {

constexpr std::int32_t kGroupPort = 5000;
constexpr std::int32_t kSoundPort = 5002;
constexpr const char* kGroup = "239.1.1.1";
constexpr std::chrono::milliseconds kClockSettles{1050};

void printWarning(const mcgate::host::Notice& notice) {
    if (notice.level <= 1) std::fprintf(stderr, "sender: %s\n", notice.text.c_str());
}

void demand(HRESULT status, const std::string& what) {
    if (FAILED(status)) throw std::runtime_error(what + ": " + GetStatusText(status));
}

}  // namespace

Reception::~Reception() {
    if (config_) config_->RemoveDataSourceListener(&notices_);
}

void Reception::build(mcgate::host::FilterGraph& graph, std::int32_t port, const std::string& local,
                      const std::string& group, std::int32_t timeoutMs) {
    const auto filter = mcgate::host::create<IBaseFilter>(CLSID_CNetworkReceiverFilter);
    config_ = filter.query<ISourceConfig>();
    config_->SetTimeout(timeoutMs);
    config_->SetDataSourceListener(&notices_);
    demand(config_->SetSource(port, toWide(local).c_str(), toWide(group).c_str(), u""), "can't receive " + group);
    const ComPtr<test::CallingFilter> sink(
        new test::CallingFilter([this](IMediaSample& sample) { return take(sample); }));
    demand(graph.addFilter(filter.get(), "receiver"), "can't build the receiving graph");
    demand(graph.addFilter(sink.get(), "sink"), "can't build the receiving graph");
    demand(graph.connect(findPin(*filter, PINDIR_OUTPUT).get(), sink->GetPin(0)), "can't connect the sink");
}

HRESULT Reception::take(IMediaSample& sample) {
    std::uint8_t* data = nullptr;
    const HRESULT status = sample.GetPointer(&data);
    if (FAILED(status)) return status;
    std::uint32_t number = 0;
    if (!readNumber(data, static_cast<std::size_t>(sample.GetActualDataLength()), number)) {
        record_.damaged();
    } else if (number != kPadding && number != overlooked_) {
        record_.arrived(number);
    }
    return S_OK;
}

Road::Road(const test::TwoHosts& hosts, NumberSource& source, Reception& group, Reception& sound,
           std::int32_t timeoutMs)
    : hosts_(hosts), source_(source), log_(printWarning) {
    group.build(*receiving_, kGroupPort, "10.66.0.1", kGroup, timeoutMs);
    sound.build(*receiving_, kSoundPort, "10.67.0.1", "0.0.0.0", timeoutMs);
    buildSender();
}

Road::~Road() {
    sending_->tearDown();
    receiving_->tearDown();
    if (!sender_) return;
    sender_.query<IDelayCrossingPointFilter>()->SetOutputCrossingCallback(nullptr);
    sender_.query<ISenderConfig>()->SetLogPerf(nullptr);
}

void Road::buildSender() {
    sender_ = mcgate::host::create<IBaseFilter>(CLSID_CNetworkSend);
    const auto config = sender_.query<ISenderConfig>();
    config->SetLogPerf(&log_);
    config->EnablePacing(1);
    const auto add = [&config](const std::string& remote, std::int32_t port, const std::string& local) {
        std::int32_t index = -1;
        demand(config->AddDestination(toWide(remote).c_str(), static_cast<std::uint32_t>(port), toWide(local).c_str(),
                                      &index),
               "can't send to " + remote);
    };
    add(kGroup, kGroupPort, "10.66.0.2");
    add("10.67.0.1", kSoundPort, "10.67.0.2");
    sender_.query<IDelayCrossingPointFilter>()->SetOutputCrossingCallback(&source_);
    demand(sending_->addFilter(&source_.filter(), "source"), "can't build the sending graph");
    demand(sending_->addFilter(sender_.get(), "sender"), "can't build the sending graph");
    demand(sending_->connect(source_.filter().output(), findPin(*sender_, PINDIR_INPUT).get()),
           "can't connect the sender");
}

void Road::start() {
    demand(receiving_->run(), "can't receive");
    // The sender's clock estimate begins when the filter is made and wants a second before it sees the graph's clock.
    std::this_thread::sleep_for(kClockSettles);
    runSender();
}

void Road::runSender() {
    hosts_.peer.run([this] { demand(sending_->run(), "can't start the sender"); });
    source_.start();
}

void Road::stopSender() {
    if (!source_.drain()) throw std::runtime_error("the sender did not send what it was given");
    demand(sending_->stop(), "can't stop the sender");
}

void Road::restartSender() {
    stopSender();
    runSender();
}

}  // namespace soak
