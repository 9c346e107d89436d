#include "terminal/run_summary.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <variant>

#include "cli/time_text.h"
#include "terminal/stream_rows.h"

namespace mcgate::host {

namespace {

constexpr std::size_t kChanges = 6;
constexpr std::size_t kMostUnreachable = 8;

std::string line(const char* what, const std::string& text) { return fmt::format("{:<12}{}\n", what, text); }

std::string plural(std::uint64_t count, const char* one) {
    return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

std::string traffic(std::optional<std::uint64_t> datagrams, std::optional<std::uint64_t> bytes) {
    return fmt::format("{}, {} bytes", plural(*datagrams, "datagram"), bytes.value_or(0));
}

std::string losses(const StreamValues& values) {
    std::string text;
    const auto add = [&text](const char* what, const std::optional<std::uint64_t>& count) {
        if (count) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", what, *count);
    };
    add("dropped samples", values.droppedSamples);
    add("kernel drops", values.kernelDrops);
    add("continuity errors", values.continuityErrors);
    add("buffer full", values.bufferFullNotices);
    return text;
}

std::string unreachable(const std::vector<std::string>& destinations) {
    std::string text;
    const std::size_t shown = std::min(destinations.size(), kMostUnreachable);
    for (std::size_t i = 0; i < shown; ++i) text += line("unreachable", destinations[i]);
    if (shown < destinations.size())
        text += line("unreachable", fmt::format("and {} more", destinations.size() - shown));
    return text;
}

}  // namespace

void DataRecord::look(bool present, double atS) {
    if (present) {
        if (!firstS) firstS = atS;
        if (goneSinceS_) goneBeforeS_ += atS - *goneSinceS_;
        if (goneSinceS_) longestS = std::max(longestS, atS - *goneSinceS_);
        goneSinceS_.reset();
        goneS = goneBeforeS_;
        return;
    }
    if (!firstS) return;
    if (!goneSinceS_) {
        goneSinceS_ = atS;
        ++outages;
    }
    goneS = goneBeforeS_ + atS - *goneSinceS_;
    longestS = std::max(longestS, atS - *goneSinceS_);
}

void DataRecord::end(bool present, double atS) {
    if (present || goneSinceS_) look(present, atS);
}

void RunSummary::observe(const StreamValues& values, double atS, std::optional<double> bitRate) {
    data_.look(values.dataPresent, atS);
    peakRate_ = std::max(peakRate_, bitRate.value_or(0));
}

// The first word of an interface tells how it is at the start.
void RunSummary::heed(const Notice& notice, const std::string& stream) {
    const std::lock_guard hold(lock_);
    if (const auto* state = std::get_if<InterfaceState>(&notice.about)) {
        const auto [known, isFirst] = interfaces_.try_emplace(state->name, state->up);
        if ((isFirst && state->up) || (!isFirst && std::exchange(known->second, state->up) == state->up)) return;
        ++changeCount_;
        changes_.push_back(fmt::format("{} {} at {:%FT%TZ}", state->name, state->up ? "up" : "down",
                                       fmt::gmtime(std::chrono::system_clock::to_time_t(notice.time))));
        if (changes_.size() > kChanges) changes_.pop_front();
        return;
    }
    if (notice.level > 1) return;
    ++(notice.level == 0 ? errors_ : warnings_);
    lastFault_ = (stream.empty() ? "" : stream + ": ") + notice.text;
}

void RunSummary::tellAddresses(const std::vector<std::string>& urls) {
    addresses_ = line("addresses", fmt::format("{}", fmt::join(urls, ", ")));
}

std::string RunSummary::headLines(double elapsedS) const {
    const auto end = std::chrono::system_clock::now();
    return line("command", command_) + addresses_ + line("version", version_) +
           line("time", fmt::format("{} to {}, {}", utcTime(start_), utcTime(end), durationText(elapsedS)));
}

std::string RunSummary::dataLine() const {
    if (!data_.firstS) return line("data", "none ever came");
    std::string text = fmt::format("first seen after {:.1f} s; ", *data_.firstS);
    if (data_.outages == 0) return line("data", text + "never gone since");
    return line("data", text + fmt::format("gone {}, {:.1f} s in all, {:.1f} s at the longest",
                                           plural(data_.outages, "time"), data_.goneS, data_.longestS));
}

std::string RunSummary::noticeLines() const {
    const std::lock_guard hold(lock_);
    std::string text;
    if (changeCount_ > 0) {
        const std::string dropped =
            changeCount_ > changes_.size() ? fmt::format("{} changes, the last ones: ", changeCount_) : "";
        text += line("interfaces", dropped + fmt::format("{}", fmt::join(changes_, ", ")));
    }
    if (errors_ + warnings_ > 0) {
        text += line("told", fmt::format("{}, {}; the last one: {}", plural(errors_, "error"),
                                         plural(warnings_, "warning"), lastFault_));
    }
    return text;
}

std::string RunSummary::finish(StreamKind kind, const StreamValues& values, double elapsedS,
                               std::optional<double> meanRate) {
    data_.end(values.dataPresent, elapsedS);
    std::string text = headLines(elapsedS);
    if (values.receivedDatagrams) text += line("received", traffic(values.receivedDatagrams, values.receivedBytes));
    if (values.datagrams) {
        text += line(kind == StreamKind::Receive ? "received" : "sent", traffic(values.datagrams, values.bytes));
    }
    if (meanRate) {
        text += line("bit rate", fmt::format("{:.2f} Mbit/s mean, {:.2f} Mbit/s in the peak second", *meanRate / 1e6,
                                             std::max(peakRate_, *meanRate) / 1e6));
    }
    if (const std::string lost = losses(values); !lost.empty()) text += line("losses", lost);
    if (values.spacing) {
        text += line("spacing", fmt::format("error {:.2f} / {:.2f} / {:.2f} ms (median / p99 / max)",
                                            values.spacing->medianMs, values.spacing->p99Ms, values.spacing->maxMs));
    }
    if (values.holdBackMs) text += line("hold-back", fmt::format("{} ms", *values.holdBackMs));
    if (values.priority) text += line("priority", *values.priority);
    std::vector<std::string> lost;
    for (const auto& [url, fault] : values.lostDestinations()) lost.push_back(fmt::format("{}: {}", url, fault));
    return text + dataLine() + unreachable(lost) + noticeLines();
}

std::string RunSummary::finish(const std::vector<StreamRecord>& streams, double elapsedS) const {
    std::vector<std::string> data;
    std::vector<std::string> lost;
    for (const auto& [name, dataCame, outages, destinations] : streams) {
        if (!dataCame) data.push_back(name + ": none ever came");
        if (outages > 0) data.push_back(fmt::format("{}: gone {}", name, plural(outages, "time")));
        for (const auto& one : destinations) lost.push_back(fmt::format("{}: {}: {}", name, one.url, one.fault));
    }
    std::string text = headLines(elapsedS);
    if (!data.empty()) text += line("data", fmt::format("{}", fmt::join(data, ", ")));
    if (!lost.empty()) text += line("unreachable", plural(lost.size(), "destination") + " lost") + unreachable(lost);
    return text + noticeLines();
}

}  // namespace mcgate::host
