#include "cli/commands.h"
#include "cli/configuration_file.h"
#include "io/standard_output.h"

namespace mcgate::host {

int runShow(const ShowOptions& options) {
    std::string text;
    for (const auto& line : describe(readConfiguration(options.file))) text += line + '\n';
    writeStandardOutput(text);
    return 0;
}

}  // namespace mcgate::host
