#include "metrics/metrics_page.h"

#include <fmt/format.h>

#include <functional>
#include <iterator>
#include <optional>
#include <utility>

namespace mcgate::host {

namespace {

using Labels = std::vector<std::pair<std::string, std::string>>;

// Backslash, quotation mark and line feed, as the format has it.
std::string escaped(const std::string& value) {
    std::string result;
    for (const char c : value) {
        if (c == '\n') {
            result += "\\n";
            continue;
        }
        if (c == '\\' || c == '"') result += '\\';
        result += c;
    }
    return result;
}

/// One metric: its HELP and TYPE lines come with its first sample, so that one without samples leaves none.
class Family {
public:
    Family(std::string& page, const char* name, const char* type, const char* help)
        : page_(page), name_(name), type_(type), help_(help) {}

    template <class Value>
    void sample(const Labels& labels, const Value& value) {
        if (!begun_) page_ += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name_, help_, type_);
        begun_ = true;
        std::string inside;
        for (const auto& [label, text] : labels) {
            inside += fmt::format("{}{}=\"{}\"", inside.empty() ? "" : ",", label, escaped(text));
        }
        page_ +=
            inside.empty() ? fmt::format("{} {}\n", name_, value) : fmt::format("{}{{{}}} {}\n", name_, inside, value);
    }

private:
    std::string& page_;
    const char* const name_;
    const char* const type_;
    const char* const help_;
    bool begun_ = false;
};

struct CounterName {
    StreamCounts::Counter counter;
    const char* name;
    const char* help;
};

constexpr CounterName kCounters[] = {
    {StreamCounts::SentDatagrams, "mcgate_datagrams_sent_total", "UDP datagrams sent, to each destination."},
    {StreamCounts::SentBytes, "mcgate_sent_bytes_total", "Bytes in the datagrams sent, to each destination."},
    {StreamCounts::ReceivedDatagrams, "mcgate_datagrams_received_total", "UDP datagrams received."},
    {StreamCounts::ReceivedBytes, "mcgate_received_bytes_total", "Bytes in the datagrams received."},
    {StreamCounts::DroppedSamples, "mcgate_dropped_samples_total", "Samples that the sender's full queue refused."},
    {StreamCounts::KernelDrops, "mcgate_kernel_drops_total",
     "Datagrams that the kernel dropped because the socket's receive buffer was full."},
    {StreamCounts::ContinuityErrors, "mcgate_continuity_errors_total",
     "Breaks of the continuity counter (ISO/IEC 13818-1, 2.4.3.3)."},
    {StreamCounts::BufferFull, "mcgate_buffer_full_total", "How often the receiver found its pool of samples dry."},
    {StreamCounts::DataOutages, "mcgate_data_outages_total", "How often data that had been present went away."},
};

Labels labelsOf(const StreamSet::View& stream) { return {{"graph", stream.name}, {"kind", nameOf(stream.kind)}}; }

Labels with(Labels labels, const char* label, const std::string& value) {
    labels.emplace_back(label, value);
    return labels;
}

struct GaugeName {
    const char* name;
    const char* help;
    std::function<std::optional<double>(const StreamSnapshot&)> value;
};

const GaugeName kGauges[] = {
    {"mcgate_data_present", "1 while data comes (receive, relay) or leaves (send), else 0.",
     [](const StreamSnapshot& now) { return now.values.dataPresent ? 1 : 0; }},
    {"mcgate_stream_failed", "1 while the stream isn't in the state that it should be in because something failed.",
     [](const StreamSnapshot& now) { return now.error.empty() ? 0 : 1; }},
    {"mcgate_stream_uptime_seconds", "Time since the stream was run last; 0 while it is stopped.",
     [](const StreamSnapshot& now) { return now.uptimeS; }},
    {"mcgate_hold_back_seconds", "How long the sender holds each sample back.",
     [](const StreamSnapshot& now) -> std::optional<double> {
         if (!now.values.holdBackMs) return {};
         return *now.values.holdBackMs / 1000.0;
     }},
    {"mcgate_queued_samples", "Samples in the sender that are not known to have left.",
     [](const StreamSnapshot& now) -> std::optional<double> {
         if (!now.values.queuedSamples) return {};
         return static_cast<double>(*now.values.queuedSamples);
     }},
};

void writeCounters(std::string& page, const std::vector<StreamSet::View>& streams,
                   const std::map<std::string, RunningSums>& sums) {
    for (const auto& [counter, name, help] : kCounters) {
        Family family(page, name, "counter", help);
        for (const auto& stream : streams) {
            const auto value = sums.at(stream.name).sums().of[counter];
            if (value) family.sample(labelsOf(stream), *value);
        }
    }
}

void writeGauges(std::string& page, const std::vector<StreamSet::View>& streams) {
    for (const auto& [name, help, value] : kGauges) {
        Family family(page, name, "gauge", help);
        for (const auto& stream : streams) {
            if (const auto known = value(stream.snapshot)) family.sample(labelsOf(stream), *known);
        }
    }
}

void writeStates(std::string& page, const std::vector<StreamSet::View>& streams) {
    Family states(page, "mcgate_stream_state", "gauge", "1 for the state in which the stream is, 0 for the others.");
    for (const auto& stream : streams) {
        for (const StreamState state : {StreamState::Stopped, StreamState::Paused, StreamState::Running}) {
            states.sample(with(labelsOf(stream), "state", nameOf(state)), stream.snapshot.state == state ? 1 : 0);
        }
    }
    Family interfaces(page, "mcgate_interface_up", "gauge", "1 while an interface behind a destination is up, else 0.");
    for (const auto& stream : streams) {
        for (const auto& [name, up] : stream.snapshot.values.interfaces) {
            interfaces.sample(with(labelsOf(stream), "interface", name), up ? 1 : 0);
        }
    }
}

void writeUnreachable(std::string& page, const std::vector<StreamSet::View>& streams) {
    Family family(page, "mcgate_unreachable_destinations", "gauge", "Destinations that the system has no way to.");
    for (const auto& stream : streams) {
        if (stream.kind == StreamKind::Receive) continue;
        family.sample(labelsOf(stream), stream.snapshot.values.lostDestinations().size());
    }
}

void writeSpacing(std::string& page, const std::vector<StreamSet::View>& streams) {
    Family spacing(
        page, "mcgate_spacing_error_seconds", "summary",
        "Distance of a datagram's arrival, or departure, from its place in the stream's time, of the run so far.");
    for (const auto& stream : streams) {
        if (!stream.snapshot.values.spacing) continue;
        const auto& error = *stream.snapshot.values.spacing;
        const std::pair<const char*, double> quantiles[] = {
            {"0.5", error.medianMs}, {"0.99", error.p99Ms}, {"1", error.maxMs}};
        for (const auto& [quantile, ms] : quantiles) {
            spacing.sample(with(labelsOf(stream), "quantile", quantile), fmt::format("{:.6g}", ms / 1000));
        }
    }
}

}  // namespace

std::string MetricsPage::text(const std::vector<StreamSet::View>& streams) {
    std::map<std::string, RunningSums> sums;  // those of graphs that are gone are forgotten
    for (const auto& stream : streams) {
        auto& kept = sums[stream.name] = std::exchange(sums_[stream.name], {});
        kept.follow(stream.snapshot.totals);
    }
    sums_ = std::move(sums);
    std::string page;
    Family(page, "mcgate_build_info", "gauge", "1, with the version of the program.")
        .sample({{"version", version_}}, 1);
    const std::chrono::duration<double> start = start_.time_since_epoch();
    Family(page, "mcgate_start_time_seconds", "gauge", "When the program started, in seconds since 1970 (UTC).")
        .sample({}, fmt::format("{:.3f}", start.count()));
    writeStates(page, streams);
    writeUnreachable(page, streams);
    writeGauges(page, streams);
    writeCounters(page, streams, sums_);
    writeSpacing(page, streams);
    return page;
}

}  // namespace mcgate::host
