#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace mcgate::host {

/// What a stream's filters and the system tell as it happens.
struct Notice {
    enum class Kind {
        Log,         ///< a line of a filter or of the graph
        Interface,   ///< an interface behind a destination went up or down, or the system chose one
        BufferFull,  ///< a pool of samples was found dry
        State        ///< the stream was run, paused or stopped, ended, could not start, or its data came or went
    };
    std::chrono::system_clock::time_point time;
    std::uint32_t level = 2;  ///< 0 error, 1 warning, 2 information
    Kind kind = Kind::Log;
    std::string text;
};

/// Called on any thread, under locks of filters too: it stores or writes the notice, waits for nothing else, and calls
/// nothing of the stream.
using NoticeSink = std::function<void(const Notice&)>;

}  // namespace mcgate::host
