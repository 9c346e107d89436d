#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/configuration_file.h"

namespace mcgate::host {

int runShow(const ShowOptions& options) {
    for (const auto& line : describe(readConfiguration(options.file))) std::printf("%s\n", line.c_str());
    if (std::fflush(stdout) != 0) {
        throw std::runtime_error(std::string("can't write standard output: ") + std::strerror(errno));
    }
    return 0;
}

}  // namespace mcgate::host
