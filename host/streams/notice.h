#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>

namespace mcgate::host {

/// The system chose the interface of `local` for an address that was given without one.
struct ChosenInterface {
    std::string address;
    std::string local;
};
/// An interface behind a destination is up or down.
struct InterfaceState {
    std::uint32_t index = 0;
    std::string name;
    bool up = false;
};
/// No module is registered, so the one beside the program makes the filters.
struct ModuleBeside {
    std::string path;
};

/// What a stream's filters and the system tell as it happens.
struct Notice {
    enum class Kind {
        Log,         ///< a line of a filter or of the graph
        Interface,   ///< an interface behind a destination went up or down, or the system chose one
        BufferFull,  ///< a pool of samples was found dry
        State        ///< the stream was run, paused or stopped, ended, could not start, or its data came or went
    };
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
    std::uint32_t level = 2;  ///< 0 error, 1 warning, 2 information
    Kind kind = Kind::Log;
    std::string text;
    std::variant<std::monostate, ChosenInterface, InterfaceState, ModuleBeside> about;  ///< the same in its parts
};

/// Called on any thread, under locks of filters too: it stores or writes the notice, waits for nothing else, and calls
/// nothing of the stream.
using NoticeSink = std::function<void(const Notice&)>;

}  // namespace mcgate::host
