#include "soak/soak_report.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace soak {

namespace {

constexpr std::int64_t kMostGrowthKiB = 4096;
// A sanitizer keeps freed memory and books of its own, so there growth says nothing about the road.
#ifdef MCGATE_SANITIZED
constexpr bool kJudgeMemory = false;
#else
constexpr bool kJudgeMemory = true;
#endif

void judgeStream(const SoakReport::Stream& stream, std::vector<std::string>& failures) {
    const auto demandNone = [&](std::uint64_t count, const char* what) {
        if (count != 0) failures.push_back(stream.name + ": " + std::to_string(count) + " " + what);
    };
    demandNone(stream.figures.unexplained, "unexplained losses");
    demandNone(stream.figures.repeated, "datagrams came again or late");
    demandNone(stream.figures.damaged, "datagrams were damaged");
}

void judgeProcess(const ProcessState& first, const ProcessState& last, std::vector<std::string>& failures) {
    const std::int64_t growth = last.residentKiB - first.residentKiB;
    if (kJudgeMemory && growth >= kMostGrowthKiB)
        failures.push_back("memory grew by " + std::to_string(growth) + " KiB");
    if (last.descriptors != first.descriptors) failures.emplace_back("descriptors are not what they were");
    if (last.threads != first.threads) failures.emplace_back("threads are not what they were");
}

}  // namespace

std::vector<std::string> SoakReport::failures() const {
    std::vector<std::string> result;
    if (group.figures.received == 0 || sound.figures.received == 0) result.emplace_back("a stream never arrived");
    judgeStream(group, result);
    judgeStream(sound, result);
    for (std::size_t kind = 0; kind < faults.size(); ++kind) {
        if (faults[kind].late == 0) continue;
        result.push_back(std::string(kFaults[kind].name) + ": no data in time after " +
                         std::to_string(faults[kind].late) + " repairs");
    }
    if (atFirst) {
        judgeProcess(*atFirst, atLast, result);
    } else {
        result.emplace_back("ended before the warm-up was over, so growth is unknown");
    }
    return result;
}

void SoakReport::print() const {
    std::printf("\nseed    %" PRIu64 "\nuptime  %.1f s\n\n", seed, uptimeSeconds);
    printStreams();
    printFaults();
    printProcess();
    const auto wrong = failures();
    for (const auto& line : wrong) std::printf("FAILED: %s\n", line.c_str());
    std::printf("%s\n", wrong.empty() ? "clean" : "not clean");
    std::fflush(stdout);
}

void SoakReport::printStreams() const {
    std::printf("%-28s %16s %16s\n", "datagrams", group.name.c_str(), sound.name.c_str());
    const auto row = [](const char* name, auto left, auto right) {
        std::printf("%-28s %16" PRIu64 " %16" PRIu64 "\n", name, static_cast<std::uint64_t>(left),
                    static_cast<std::uint64_t>(right));
    };
    const auto& left = group.figures;
    const auto& right = sound.figures;
    row("sent", handedOver, handedOver);
    row("received", left.received, right.received);
    row("lost, explained by faults", left.explained, right.explained);
    row("lost, unexplained", left.unexplained, right.unexplained);
    row("came again or late", left.repeated, right.repeated);
    row("damaged", left.damaged, right.damaged);
    row("\"no data\" notices", group.noDataNotices, sound.noDataNotices);
    row("\"data\" notices", group.dataNotices, sound.dataNotices);
    row("longest silence, ms", left.longestSilenceMs, right.longestSilenceMs);
}

void SoakReport::printFaults() const {
    std::printf("\n%-28s %10s %10s %20s %14s\n", "faults", "times", "losses", "silence after, ms", "back too late");
    FaultLog::Figures all;
    const auto row = [](const char* name, const FaultLog::Figures& one) {
        std::printf("%-28s %10" PRIu64 " %10" PRIu64 " %20" PRId64 " %14" PRIu64 "\n", name, one.times, one.losses,
                    one.longestSilenceMs, one.late);
    };
    for (std::size_t kind = 0; kind < faults.size(); ++kind) {
        const auto& one = faults[kind];
        row(kFaults[kind].name, one);
        all = {all.times + one.times, all.losses + one.losses, all.late + one.late,
               std::max(all.longestSilenceMs, one.longestSilenceMs)};
    }
    row("all", all);
}

void SoakReport::printProcess() const {
    std::printf("\n%-28s %16s %16s %16s\n", "process", "after warm-up", "at the end", "growth");
    const auto row = [this](const char* name, std::int64_t ProcessState::*value) {
        const std::int64_t after = atLast.*value;
        if (atFirst) {
            const std::int64_t before = (*atFirst).*value;
            std::printf("%-28s %16" PRId64 " %16" PRId64 " %16" PRId64 "\n", name, before, after, after - before);
        } else {
            std::printf("%-28s %16s %16" PRId64 " %16s\n", name, "-", after, "-");
        }
    };
    row(kJudgeMemory ? "memory, KiB" : "memory, KiB (not judged)", &ProcessState::residentKiB);
    row("descriptors", &ProcessState::descriptors);
    row("threads", &ProcessState::threads);
    std::printf("\n");
}

}  // namespace soak
