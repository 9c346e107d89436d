#include "io/standard_output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace mcgate::host {

void writeStandardOutput(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        throw std::runtime_error(std::string("can't write standard output: ") + std::strerror(errno));
    }
}

}  // namespace mcgate::host
