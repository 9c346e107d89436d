// Watches a stream: makes the receiver by its class id, configures and runs it, and tells when data begins and ceases
// to flow, until SIGINT or SIGTERM.
//
//     receiver PORT GROUP LOCAL      receiver 5000 239.1.1.1 10.0.0.2, or receiver 5000 0.0.0.0 127.0.0.1 for unicast

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "foundation/status.h"
#include "interfaces/class_ids.h"
#include "interfaces/i_source_config.h"
#include "media/host/filter_setup.h"
#include "media/host/interfaces.h"
#include "platform/registry.h"

using mcgate::platform::ComPtr;
using mcgate::platform::toWide;

namespace {

class Lamp final : public IDataSourceListener {
public:
    void OnDataPresenceChanged(bool present) override { std::puts(present ? "data present" : "no data"); }
    void OnReserved() override {}
};

bool succeeded(HRESULT status, const char* what) {
    if (FAILED(status)) std::fprintf(stderr, "receiver: %s: %s\n", what, GetStatusText(status).c_str());
    return SUCCEEDED(status);
}

int watch(int port, const char* group, const char* local, const sigset_t& ends) {
    const CreationScope creation;
    ComPtr<IBaseFilter> receiver;
    const HRESULT made = CoCreateInstance(CLSID_CNetworkReceiverFilter, nullptr, CLSCTX_INPROC_SERVER, IBaseFilter::iid,
                                          receiver.putVoid());
    if (!succeeded(made, "can't make the receiver")) return 1;

    // Without a filter behind it the receiver only watches. A graph would connect its pin, and give it a clock.
    const auto config = receiver.query<ISourceConfig>();
    Lamp lamp;
    config->SetTimeout(2000);  // milliseconds
    config->SetDataSourceListener(&lamp);
    const HRESULT set = config->SetSource(port, toWide(local).c_str(), toWide(group).c_str(), u"");
    bool good = succeeded(set, "can't use these addresses") && succeeded(receiver->Run(0), "can't receive");
    if (good) {
        std::puts("running");
        int signal = 0;
        sigwait(&ends, &signal);
        good = succeeded(receiver->Pause(), "can't pause") && succeeded(receiver->Stop(), "can't stop");
    }
    config->RemoveDataSourceListener(&lamp);
    return good ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "receiver: %d arguments given; right would be receiver PORT GROUP LOCAL\n", argc - 1);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever reads a pipe hears of each state at once
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);  // for the filter's threads, too
    const char* const registry = std::getenv("MCGATE_REGISTRY");
    mcgate::platform::setRegistryFile(registry != nullptr ? registry : MCGATE_REGISTRY_FILE);
    return watch(std::atoi(argv[1]), argv[2], argv[3], ends);
}
