#include "streams/stream_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "foundation/log_perf.h"

namespace mcgate::host {

namespace {

std::string_view orEmpty(const char* name) { return name != nullptr ? name : ""; }

}  // namespace

StreamLog::StreamLog(NoticeSink sink, std::int64_t configuredMs)
    : sink_(std::move(sink)), configuredMs_(static_cast<int>(configuredMs)), holdBackMs_(configuredMs_) {}

void StreamLog::Log(std::uint32_t level, const char* format, ...) {
    quorvel::log::log_perf::v4::LogLine line;
    std::va_list arguments;
    va_start(arguments, format);
    quorvel::log::log_perf::v4::formatLine(line, format, arguments);
    va_end(arguments);
    follow(line.data());
    const std::uint32_t known = std::min(level, kInformation);
    if (!isNew(known, line.data())) return;
    Notice notice;
    notice.level = known;
    notice.text = line.data();
    sink_(notice);
}

// A destination that fails does so with every sample.
bool StreamLog::isNew(std::uint32_t level, const char* line) {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard hold(lock_);
    if (level == 0) lastError_ = line;
    auto& told = told_[level];
    if (told.line == line && now - told.at < std::chrono::seconds(1)) return false;
    told = {line, now};
    return true;
}

void StreamLog::follow(const char* line) {
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
void StreamLog::DeclareBuffer(const char* name) {
    const std::lock_guard hold(lock_);
    fullBuffers_.try_emplace(std::string(orEmpty(name)));
}

void StreamLog::NotifyBufferFull(const char* name) {
    ++bufferFull_;
    const std::lock_guard hold(lock_);
    const auto found = fullBuffers_.find(orEmpty(name));
    ++(found != fullBuffers_.end() ? found->second : fullBuffers_[std::string(orEmpty(name))]);
}

void StreamLog::tellFullBuffers() {
    std::map<std::string, std::uint64_t, std::less<>> told;
    {
        const std::lock_guard hold(lock_);
        told = fullBuffers_;
        for (auto& buffer : fullBuffers_) buffer.second = 0;
    }
    for (const auto& [name, times] : told) {
        if (times == 0) continue;
        Notice notice;
        notice.level = 1;
        notice.kind = Notice::Kind::BufferFull;
        notice.text = "Pin output buffer full : " + name;
        if (times > 1) notice.text += " (x" + std::to_string(times) + ")";
        sink_(notice);
    }
}

std::string StreamLog::lastError() {
    const std::lock_guard hold(lock_);
    return lastError_;
}

void StreamLog::restart() {
    holdBackMs_ = configuredMs_;
    bufferFull_ = 0;
    const std::lock_guard hold(lock_);
    lastError_.clear();
    for (auto& buffer : fullBuffers_) buffer.second = 0;
}

}  // namespace mcgate::host
