#include "cli/host_log.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cstdarg>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/time_text.h"
#include "foundation/log_perf.h"

namespace mcgate::host {

namespace {

std::string textOf(const spdlog::string_view_t& view) { return {view.data(), view.size()}; }

/// A JSON object a line. What is no UTF-8 is replaced, so that every line parses.
class JsonFormatter final : public spdlog::formatter {
public:
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override {
        const nlohmann::ordered_json object{{"event", "log"},
                                            {"time", utcTime(message.time)},
                                            {"level", textOf(spdlog::level::to_string_view(message.level))},
                                            {"text", textOf(message.payload)}};
        const std::string text = object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
        line.append(text.data(), text.data() + text.size());
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<JsonFormatter>(); }
};

std::unique_ptr<spdlog::formatter> formatterFor(ReportForm form) {
    if (form == ReportForm::Json) return std::make_unique<JsonFormatter>();
    return std::make_unique<spdlog::pattern_formatter>("mcgate: %H:%M:%S.%e %l: %v");
}

spdlog::level::level_enum levelOf(std::uint32_t level) {
    if (level == 0) return spdlog::level::err;
    return level == 1 ? spdlog::level::warn : spdlog::level::info;
}

std::string_view orEmpty(const char* name) { return name != nullptr ? name : ""; }

}  // namespace

HostLog::HostLog(ReportForm form, std::int64_t configuredMs, std::shared_ptr<spdlog::sinks::sink> sink)
    : lines_(std::make_unique<spdlog::logger>(
          "mcgate", sink ? std::move(sink) : std::make_shared<spdlog::sinks::stderr_sink_mt>())),
      configuredMs_(static_cast<int>(configuredMs)),
      holdBackMs_(configuredMs_) {
    lines_->set_formatter(formatterFor(form));
    lines_->set_level(form == ReportForm::None ? spdlog::level::warn : spdlog::level::info);
}

HostLog::~HostLog() = default;

void HostLog::Log(std::uint32_t level, const char* format, ...) {
    quorvel::log::log_perf::v4::LogLine line;
    std::va_list arguments;
    va_start(arguments, format);
    quorvel::log::log_perf::v4::formatLine(line, format, arguments);
    va_end(arguments);
    follow(line.data());
    if (isNew(level, line.data())) lines_->log(levelOf(level), std::string_view(line.data()));
}

// A destination that fails does so with every sample.
bool HostLog::isNew(std::uint32_t level, const char* line) {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard hold(lock_);
    if (level == 0) lastError_ = line;
    if (!lines_->should_log(levelOf(level))) return false;
    if (lastTold_ == line && now - toldAt_ < std::chrono::seconds(1)) return false;
    lastTold_ = line;
    toldAt_ = now;
    return true;
}

void HostLog::follow(const char* line) {
    int configured = 0;  // not kept: the first line may come before the sender was configured
    int grown = 0;
    if (std::sscanf(line, "Time offset stabilizing from %d+%d ms", &configured, &grown) == 2 ||
        std::sscanf(line, "Time offset stabilized to %d+%d ms", &configured, &grown) == 2) {
        holdBackMs_ = configuredMs_ + grown;
    } else if (std::string_view(line) == "Flush end") {
        holdBackMs_ = configuredMs_;
    }
}

// So that a notice on the road of samples finds its place made.
void HostLog::DeclareBuffer(const char* name) {
    const std::lock_guard hold(lock_);
    fullBuffers_.try_emplace(std::string(orEmpty(name)));
}

void HostLog::NotifyBufferFull(const char* name) {
    ++bufferFull_;
    const std::lock_guard hold(lock_);
    const auto found = fullBuffers_.find(orEmpty(name));
    ++(found != fullBuffers_.end() ? found->second : fullBuffers_[std::string(orEmpty(name))]);
}

void HostLog::tellFullBuffers() {
    std::map<std::string, std::uint64_t, std::less<>> told;
    {
        const std::lock_guard hold(lock_);
        told = fullBuffers_;
        for (auto& buffer : fullBuffers_) buffer.second = 0;
    }
    for (const auto& [name, times] : told) {
        if (times == 1) lines_->warn("Pin output buffer full : {}", name);
        if (times > 1) lines_->warn("Pin output buffer full : {} (x{})", name, times);
    }
}

std::string HostLog::lastError() {
    const std::lock_guard hold(lock_);
    return lastError_;
}

}  // namespace mcgate::host
