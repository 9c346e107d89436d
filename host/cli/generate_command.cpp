#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "ts/generator.h"

namespace mcgate::host {

namespace {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void fail(const std::string& path) {
    throw std::runtime_error("can't write " + path + ": " + std::strerror(errno));
}

}  // namespace

// The file appears under its name only when it is whole.
int runGenerate(const GenerateOptions& options) {
    const bool toOutput = options.out == "-";
    const std::string part = options.out + ".part";
    std::unique_ptr<std::FILE, Closer> file(toOutput ? fdopen(dup(STDOUT_FILENO), "wb")
                                                     : std::fopen(part.c_str(), "wb"));
    if (!file) fail(options.out);
    try {
        generateTransportStream(
            {options.rate, options.seconds, options.seed}, [&](const std::uint8_t* data, std::size_t size) {
                if (stopRequested())
                    throw std::runtime_error("stopped by a signal before the stream was whole; nothing is kept");
                if (std::fwrite(data, 1, size, file.get()) != size) fail(options.out);
            });
        if (std::fflush(file.get()) != 0) fail(options.out);
        file.reset();
        if (!toOutput && std::rename(part.c_str(), options.out.c_str()) != 0) fail(options.out);
    } catch (...) {
        if (!toOutput) std::remove(part.c_str());
        throw;
    }
    return 0;
}

}  // namespace mcgate::host
