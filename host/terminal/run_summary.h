#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "streams/notice.h"
#include "streams/stream_settings.h"
#include "streams/stream_values.h"

namespace mcgate::host {

/// When data came, and how often and for how long it was gone since.
struct DataRecord {
    /// The data state at a time, in seconds since the start.
    void look(bool present, double atS);
    /// As look, of the end of the run, which begins no outage.
    void end(bool present, double atS);

    std::optional<double> firstS;
    std::uint64_t outages = 0;
    double goneS = 0;     ///< in all, to the last look
    double longestS = 0;  ///< of one outage, to the last look

private:
    std::optional<double> goneSinceS_;
    double goneBeforeS_ = 0;
};

/// What a summary tells of one of several streams.
struct StreamRecord {
    std::string name;
    bool dataCame = true;       ///< ever; true of one that was never to run
    std::uint64_t outages = 0;  ///< how often its data was gone
    std::vector<StreamValues::Destination> lost;
};

/// What a run amounts to, in some plain lines for a ticket.
/// Threads: `heed` from any; a leaf lock guards what it keeps. All else from one.
class RunSummary {
public:
    /// `version`: of the program. `command`: as it was typed.
    RunSummary(std::string version, std::string command) : version_(std::move(version)), command_(std::move(command)) {}

    /// Where it sends, or what it receives, where the command doesn't say.
    void tellAddresses(const std::vector<std::string>& urls);
    /// The values at a time, in seconds since the start, and the bit rate since the look before; once a second.
    void observe(const StreamValues& values, double atS, std::optional<double> bitRate);
    /// `stream`: which of several it is of; empty where there is but one.
    void heed(const Notice& notice, const std::string& stream = {});
    /// The summary of a run that has ended with these values. `meanRate`: in bits per second.
    std::string finish(StreamKind kind, const StreamValues& values, double elapsedS, std::optional<double> meanRate);
    /// As finish, of several streams.
    std::string finish(const std::vector<StreamRecord>& streams, double elapsedS) const;

private:
    std::string headLines(double elapsedS) const;
    std::string dataLine() const;
    std::string noticeLines() const;

    const std::string version_;
    const std::string command_;
    std::string addresses_;
    const std::chrono::system_clock::time_point start_ = std::chrono::system_clock::now();
    DataRecord data_;
    double peakRate_ = 0;

    mutable std::mutex lock_;
    std::map<std::string, bool> interfaces_;  ///< up, as last told
    std::deque<std::string> changes_;         ///< of interfaces, the last ones
    std::uint64_t changeCount_ = 0;
    std::uint64_t errors_ = 0;
    std::uint64_t warnings_ = 0;
    std::string lastFault_;
};

}  // namespace mcgate::host
