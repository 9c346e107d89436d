#include "cli/notice_printer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/time_text.h"

namespace mcgate::host {

namespace {

using Json = nlohmann::ordered_json;

const char* levelName(const Notice& notice) {
    constexpr std::array kNames{"error", "warning", "info"};
    return kNames.at(std::min<std::size_t>(notice.level, kNames.size() - 1));
}

/// The fields of a notice that has parts, and of one that is a text.
struct Fields {
    const Notice& notice;
    Json operator()(std::monostate) const {
        const char* event = notice.kind == Notice::Kind::State ? "state" : "log";
        return {{"event", event}, {"time", utcTime(notice.time)}, {"level", levelName(notice)}, {"text", notice.text}};
    }
    Json operator()(const ChosenInterface& chosen) const {
        return {{"event", "interface"}, {"address", chosen.address}, {"local", chosen.local}};
    }
    Json operator()(const InterfaceState& state) const {
        return {{"event", "interface_state"},
                {"time", utcTime(notice.time)},
                {"name", state.name},
                {"index", state.index},
                {"up", state.up}};
    }
    Json operator()(const ModuleBeside& module) const {
        return {{"event", "module"}, {"path", module.path}, {"registered", false}};
    }
};

void writeToStandardError(const std::string& line) { std::fwrite(line.data(), 1, line.size(), stderr); }

}  // namespace

NoticePrinter::NoticePrinter(ReportForm form, std::string name, Write write)
    : form_(form), name_(std::move(name)), write_(write ? std::move(write) : Write(writeToStandardError)) {}

void NoticePrinter::tell(const Notice& notice, const std::string& stream) {
    if ((form_ == ReportForm::None && notice.level > 1) || isTold(notice)) return;
    if (form_ != ReportForm::Json) {
        write_(textLine(notice, stream) + '\n');
        return;
    }
    Json object = std::visit(Fields{notice}, notice.about);
    if (!stream.empty()) object["stream"] = stream;
    // What is no UTF-8 is replaced, so that every line parses.
    write_(object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
}

bool NoticePrinter::isTold(const Notice& notice) {
    const auto* module = std::get_if<ModuleBeside>(&notice.about);
    if (module == nullptr) return false;
    const std::lock_guard hold(lock_);
    return std::exchange(toldModule_, module->path) == module->path;
}

std::string NoticePrinter::textLine(const Notice& notice, const std::string& stream) const {
    const std::string of = stream.empty() ? std::string() : stream + ": ";
    if (std::holds_alternative<std::monostate>(notice.about)) {
        return "mcgate: " + timeOfDay(notice.time) + " " + levelName(notice) + ": " + of + notice.text;
    }
    const bool timed = std::holds_alternative<InterfaceState>(notice.about);
    return name_ + ": " + (timed ? timeOfDay(notice.time) + " " : std::string()) + of + notice.text;
}

}  // namespace mcgate::host
