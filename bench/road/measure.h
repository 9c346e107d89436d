#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One measured run: how many datagrams, in what time, at what cost of all processors together.
struct Run {
    double datagrams = 0;
    double seconds = 0;
    double cpuSeconds = 0;

    double rate() const { return datagrams / seconds; }
    double cpuMicroseconds() const { return cpuSeconds / datagrams * 1e6; }
};

/// Runs `action`, which gives the number of datagrams, and measures it.
Run measure(const std::function<double()>& action);

/// A line of the results: this system's road and the raw loop beside it, run in turns.
struct Comparison {
    std::string name;
    double wanted = 0;  ///< ratio aimed at
    double ratio = 0;   ///< median over the rounds of our rate by the raw one
    double lowest = 0;
    double highest = 0;
    Run ours;  ///< of the round with the median ratio
    Run raw;
};

/// `rounds` times the raw loop and then ours.
Comparison compare(const std::string& name, double wanted, int rounds, const std::function<Run()>& raw,
                   const std::function<Run()>& ours);

/// A free line of the results.
struct Note {
    std::string name;
    std::string text;
};

/// The machine and what limits these figures on it, one line each.
std::vector<Note> describeMachine();

}  // namespace bench
