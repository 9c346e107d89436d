#include "measure.h"

#include <sys/resource.h>
#include <sys/utsname.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

namespace bench {

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Of this process, its threads and the children it has waited for.
double cpuUsed() {
    double sum = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        sum += seconds(usage.ru_utime) + seconds(usage.ru_stime);
    }
    return sum;
}

std::string firstLineWith(const std::string& path, const std::string& key) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key, 0) == 0) return line.substr(line.find_first_not_of(" \t:", key.size()));
    }
    return "unknown";
}

std::string wholeFile(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line.empty() ? "unknown" : line;
}

}  // namespace

Run measure(const std::function<double()>& action) {
    Run run;
    const double cpu = cpuUsed();
    const auto begin = std::chrono::steady_clock::now();
    run.datagrams = action();
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    run.cpuSeconds = cpuUsed() - cpu;
    return run;
}

Comparison compare(const std::string& name, double wanted, int rounds, const std::function<Run()>& raw,
                   const std::function<Run()>& ours) {
    struct Round {
        double ratio;
        Run raw;
        Run ours;
    };
    std::vector<Round> all;
    for (int i = 0; i < rounds; ++i) {
        const Run one = raw();
        const Run other = ours();
        all.push_back({other.rate() / one.rate(), one, other});
    }
    std::sort(all.begin(), all.end(), [](const Round& left, const Round& right) { return left.ratio < right.ratio; });
    const Round& median = all[all.size() / 2];
    return {name, wanted, median.ratio, all.front().ratio, all.back().ratio, median.ours, median.raw};
}

std::vector<Note> describeMachine() {
    utsname system{};
    uname(&system);
    return {{"processor", firstLineWith("/proc/cpuinfo", "model name")},
            {"processors", std::to_string(std::thread::hardware_concurrency())},
            {"kernel", system.release},
            {"net.core.rmem_max", wholeFile("/proc/sys/net/core/rmem_max")},
            {"net.core.wmem_max", wholeFile("/proc/sys/net/core/wmem_max")},
            {"load before", wholeFile("/proc/loadavg")}};
}

}  // namespace bench
