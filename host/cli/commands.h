#pragma once

#include <cstdint>
#include <string>

#include "cli/report.h"
#include "streams/receiver_end.h"
#include "streams/sender_end.h"

namespace mcgate::host {

struct SendOptions : SenderOptions {
    std::string input;
    bool loop = false;
    ReportOptions report;
};

struct ReceiveOptions : ReceiverOptions {
    std::string save;  ///< file to save the configuration in; empty: none
    std::string out;
    double durationSeconds = 0;  ///< 0: without end
    double idleExitSeconds = 0;  ///< 0: never
    ReportOptions report;
};

struct RelayOptions : SenderOptions, ReceiverOptions {
    RelayOptions() { offsetMs = 40; }  // most of what jitter a network adds; the sender finds the rest
    bool privateStream = false;
    double durationSeconds = 0;  ///< 0: without end
    ReportOptions report;
};

struct RunOptions {
    std::string profile;
    ReportOptions report;
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

struct ConsoleOptions {
    std::string profile;  ///< a file; empty: none
    std::string listen = "127.0.0.1:8080";
    std::string tokenFile;  ///< empty: no access token is demanded
    std::string files;      ///< the directory of FileBounds; empty: the working directory
};

struct InterfacesOptions {
    bool json = false;
};

/// What a stream's failure makes of the exit status: tells it, and gives 1; 0 for an empty one.
int exitStatus(const std::string& failure);

/// Each gives the exit status: 0, or 1 for a failure while running. They throw UsageError for wrong use and
/// std::runtime_error for what could not be begun.
int runSend(const SendOptions& options);
int runReceive(const ReceiveOptions& options);
int runRelay(const RelayOptions& options);
int runRun(const RunOptions& options);
int runGenerate(const GenerateOptions& options);
int runShow(const ShowOptions& options);
int runCheck(const CheckOptions& options);
int runConsole(const ConsoleOptions& options);
int runInterfaces(const InterfacesOptions& options);

}  // namespace mcgate::host
