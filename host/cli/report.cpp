#include "cli/report.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "terminal/stream_rows.h"

namespace mcgate::host {

namespace {

template <class Value>
nlohmann::json orNull(const std::optional<Value>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

}  // namespace

nlohmann::ordered_json reportFields(const StreamValues& values, double seconds, std::optional<double> bitRate) {
    nlohmann::ordered_json line{{"time_s", seconds},
                                {"datagrams", orNull(values.datagrams)},
                                {"bytes", orNull(values.bytes)},
                                {"bit_rate", orNull(bitRate)},
                                {"dropped_samples", orNull(values.droppedSamples)},
                                {"kernel_drops", orNull(values.kernelDrops)},
                                {"continuity_errors", orNull(values.continuityErrors)},
                                {"data_present", values.dataPresent},
                                {"hold_back_ms", orNull(values.holdBackMs)},
                                {"queued_samples", orNull(values.queuedSamples)},
                                {"buffer_full_notices", orNull(values.bufferFullNotices)},
                                {"priority", orNull(values.priority)},
                                {"input_percent", orNull(values.input ? percentRead(*values.input) : std::nullopt)}};
    if (values.receivedDatagrams) line["received_datagrams"] = *values.receivedDatagrams;
    if (values.receivedBytes) line["received_bytes"] = *values.receivedBytes;
    std::vector<std::string> lost;
    for (const auto& destination : values.lostDestinations()) lost.push_back(destination.url);
    if (!lost.empty()) line["unreachable"] = lost;
    if (values.kernelDrops.value_or(0) > 0) line["kernel_drops_hint"] = values.kernelDropsHint;
    if (values.spacing) {
        line["spacing_error_ms"] = {
            {"median", values.spacing->medianMs}, {"p99", values.spacing->p99Ms}, {"max", values.spacing->maxMs}};
    }
    return line;
}

std::string reportWords(const StreamValues& values, std::optional<double> bitRate) {
    std::ostringstream line;
    line.precision(2);
    line << std::fixed;
    if (bitRate) line << "  " << *bitRate / 1e6 << " Mbit/s";
    if (values.receivedDatagrams) line << "  received " << *values.receivedDatagrams << " datagrams  sent";
    if (values.datagrams) line << (values.receivedDatagrams ? " " : "  ") << *values.datagrams << " datagrams";
    if (values.droppedSamples) line << "  dropped " << *values.droppedSamples;
    if (values.kernelDrops) line << "  kernel drops " << *values.kernelDrops;
    if (values.continuityErrors) line << "  continuity errors " << *values.continuityErrors;
    if (values.holdBackMs) line << "  hold-back " << *values.holdBackMs << " ms";
    line << (values.dataPresent ? "  data present" : "  no data");
    if (values.spacing) {
        line << "  spacing error " << values.spacing->medianMs << " / " << values.spacing->p99Ms << " / "
             << values.spacing->maxMs << " ms (median / p99 / max)";
    }
    return line.str();
}

void Report::write(const StreamValues& values, bool final) {
    const auto now = Clock::now();
    const std::chrono::duration<double> whole = now - start_;
    const std::chrono::duration<double> since = final ? whole : now - last_;
    std::optional<double> bitRate;
    if (values.bytes) {
        const auto bytes = static_cast<double>(*values.bytes - (final ? 0 : lastBytes_));
        bitRate = since.count() > 0 ? bytes * 8 / since.count() : 0;
    }
    if (!final) summary_.observe(values, whole.count(), bitRate);
    if (form_ == ReportForm::Json) writeJson(values, whole.count(), bitRate, final);
    if (form_ == ReportForm::Text) writeText(values, whole.count(), bitRate, final);
    last_ = now;
    lastBytes_ = values.bytes.value_or(0);
    while (next_ <= now) next_ += std::chrono::seconds(1);
}

void Report::writeJson(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final) const {
    auto line = reportFields(values, seconds, bitRate);
    if (final) line["final"] = true;
    terminal_.print(line.dump() + '\n');
}

// A terminal's reader has seen the figures of the moment, and a file's has them in the lines.
void Report::writeText(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final) {
    if (terminal_.isLive() && !final) {
        terminal_.show([live = LiveStream{name_, {}, seconds, bitRate, values}](const Terminal::Size& room) {
            return streamRows(live, room.columns);
        });
    } else {
        terminal_.show(nullptr);
        if (!terminal_.isLive()) terminal_.print(line(values, seconds, bitRate, final) + '\n');
    }
    tellDrops(values);
    if (final) terminal_.print(summary_.finish(kind_, values, seconds, bitRate));
}

std::string Report::line(const StreamValues& values, double seconds, std::optional<double> bitRate, bool final) const {
    std::string text = name_ + (final ? " total " : " ") + fmt::format("{:.2f} s", seconds);
    text += reportWords(values, bitRate);
    if (!final && values.input) text += "  " + progressWords(*values.input, seconds);
    if (final && values.priority) text += "  priority " + *values.priority;
    return text;
}

// Once for each growth, not with every line.
void Report::tellDrops(const StreamValues& values) {
    if (values.kernelDrops.value_or(0) <= toldDrops_) return;
    toldDrops_ = *values.kernelDrops;
    terminal_.print(
        fmt::format("{}: the kernel dropped {} datagrams because the socket's receive buffer was full; {}\n", name_,
                    toldDrops_, values.kernelDropsHint));
}

}  // namespace mcgate::host
