#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace soak {

/// What this process holds of the system.
struct ProcessState {
    std::int64_t residentKiB = 0;
    std::int64_t descriptors = 0;
    std::int64_t threads = 0;

    /// Throws std::runtime_error when the system does not tell.
    static ProcessState now() {
        ProcessState state;
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            long long value = 0;
            if (std::sscanf(line.c_str(), "VmRSS: %lld", &value) == 1) state.residentKiB = value;
            if (std::sscanf(line.c_str(), "Threads: %lld", &value) == 1) state.threads = value;
        }
        status.close();
        // The look itself holds one more, each time.
        const std::filesystem::directory_iterator open("/proc/self/fd");
        state.descriptors = std::distance(begin(open), end(open)) - 1;
        if (state.residentKiB == 0 || state.threads == 0) throw std::runtime_error("/proc/self/status tells no memory");
        return state;
    }
};

}  // namespace soak
