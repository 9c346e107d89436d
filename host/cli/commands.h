#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/report.h"

namespace mcgate::host {

struct SendOptions {
    std::string input;
    std::vector<std::string> destinations;
    std::string load;  ///< file of saved configuration; empty: none
    std::string save;  ///< as load
    std::int64_t offsetMs = 0;
    bool noPacing = false;
    bool loop = false;
    ReportForm report = ReportForm::Text;
};

struct ReceiveOptions {
    std::string url;   ///< or load, one of the two
    std::string load;  ///< file of saved configuration
    std::string save;  ///< as load; empty: none
    std::string out;
    std::int32_t timeoutMs = 5000;
    double durationSeconds = 0;  ///< 0: without end
    double idleExitSeconds = 0;  ///< 0: never
    ReportForm report = ReportForm::Text;
};

struct GenerateOptions {
    std::uint64_t rate = 0;
    double seconds = 0;
    std::uint64_t seed = 1;
    std::string out;
};

struct ShowOptions {
    std::string file;
};

struct CheckOptions {
    std::string url;  ///< to receive; empty where `to` is given
    std::string to;   ///< to send
    double seconds = 3;
    std::uint64_t rate = 0;  ///< 0: as measured
    bool json = false;
};

struct InterfacesOptions {
    bool json = false;
};

/// Each gives the exit status: 0, or 1 for a failure while running. They throw UsageError for wrong use and
/// std::runtime_error for what could not be begun.
int runSend(const SendOptions& options);
int runReceive(const ReceiveOptions& options);
int runGenerate(const GenerateOptions& options);
int runShow(const ShowOptions& options);
int runCheck(const CheckOptions& options);
int runInterfaces(const InterfacesOptions& options);

}  // namespace mcgate::host
