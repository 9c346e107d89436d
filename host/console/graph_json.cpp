#include "console/graph_json.h"

#include <type_traits>

namespace mcgate::host {

namespace {

using Json = nlohmann::ordered_json;

template <class Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

std::vector<std::string> outputOf(const StreamSettings& settings) {
    return std::visit(
        [](const auto& of) -> std::vector<std::string> {
            if constexpr (std::is_same_v<std::decay_t<decltype(of)>, ReceiveSettings>) {
                return of.out.empty() ? std::vector<std::string>() : std::vector{of.out};
            } else {
                return of.to;
            }
        },
        settings.of);
}

Json valuesJson(const StreamSnapshot& snapshot) {
    const StreamValues& values = snapshot.values;
    Json spacing = nullptr;
    if (values.spacing) {
        spacing = {
            {"median", values.spacing->medianMs}, {"p99", values.spacing->p99Ms}, {"max", values.spacing->maxMs}};
    }
    return {{"spacing_error_ms", std::move(spacing)},
            {"hold_back_ms", orNull(values.holdBackMs)},
            {"queued_samples", orNull(values.queuedSamples)},
            {"dropped_samples", orNull(values.droppedSamples)},
            {"continuity_errors", orNull(values.continuityErrors)},
            {"kernel_drops", orNull(values.kernelDrops)},
            {"buffer_full_notices", orNull(values.bufferFullNotices)},
            {"uptime_s", snapshot.uptimeS}};
}

}  // namespace

Json graphJson(const StreamSettings& settings, const StreamSnapshot& snapshot) {
    const bool stopped = snapshot.state == StreamState::Stopped;
    return {{"name", settings.name},
            {"kind", nameOf(settings.kind())},
            {"state", nameOf(snapshot.state)},
            {"data", stopped ? Json(nullptr) : Json(snapshot.values.dataPresent)},
            {"bit_rate", stopped ? 0 : snapshot.bitRate},
            {"datagrams", snapshot.values.datagrams.value_or(0)},
            {"error", snapshot.error.empty() ? snapshot.values.lostText() : snapshot.error},
            {"input", std::visit([](const auto& of) { return of.input; }, settings.of)},
            {"output", outputOf(settings)},
            {"values", valuesJson(snapshot)}};
}

}  // namespace mcgate::host
