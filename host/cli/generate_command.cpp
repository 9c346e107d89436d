#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "cli/commands.h"
#include "cli/stop_signal.h"
#include "io/output_file.h"
#include "ts/generator.h"

namespace mcgate::host {

namespace {

constexpr std::size_t kBlock = 65536;

void writeStream(const GenerateOptions& options, const std::string& path) {
    OutputFile file(path, stopRequested);
    std::vector<std::uint8_t> block;
    const auto put = [&] {
        file.write(block.data(), block.size());
        if (stopRequested() || file.givenUp() > 0)
            throw std::runtime_error("stopped by a signal before the stream was whole");
        block.clear();
    };
    generateTransportStream({options.rate, options.seconds, options.seed},
                            [&](const std::uint8_t* data, std::size_t size) {
                                block.insert(block.end(), data, data + size);
                                if (block.size() >= kBlock) put();
                            });
    put();
    file.flush();
}

// A file that a rename may put in its place; a pipe, a device or a link is written itself.
bool isPlace(const std::string& path) {
    std::error_code ignored;
    const auto kind = std::filesystem::symlink_status(path, ignored).type();
    return kind == std::filesystem::file_type::regular || kind == std::filesystem::file_type::not_found;
}

}  // namespace

// A file appears under its name only when it is whole.
int runGenerate(const GenerateOptions& options) {
    if (options.out != "-") OutputFile::check(options.out);
    if (options.out == "-" || !isPlace(options.out)) {
        writeStream(options, options.out);
        return 0;
    }
    const std::string part = options.out + ".part";
    try {
        writeStream(options, part);
        std::filesystem::rename(part, options.out);
    } catch (...) {
        std::remove(part.c_str());
        throw;
    }
    return 0;
}

}  // namespace mcgate::host
