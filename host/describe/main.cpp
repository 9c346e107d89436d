// Writes the man page of the command mcgate, and its completions, from its command line's model: describe DIRECTORY.

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "cli/arguments.h"
#include "describe/completions.h"
#include "describe/man_page.h"

namespace {

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file;
    file.exceptions(std::ios::badbit | std::ios::failbit);
    file.open(path);
    file << text;
    file.close();
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fprintf(stderr, "describe: %d arguments given; right would be describe DIRECTORY\n", argc - 1);
        return 2;
    }
    const std::filesystem::path directory = argv[1];
    mcgate::host::Arguments arguments;
    const auto app = mcgate::host::makeCommandLine(arguments);
    write(directory / "mcgate.1", mcgate::host::manPage(*app));
    write(directory / "mcgate.bash", mcgate::host::bashCompletion(*app));
    write(directory / "mcgate.zsh", mcgate::host::zshCompletion(*app));
    write(directory / "mcgate.fish", mcgate::host::fishCompletion(*app));
    return 0;
} catch (const std::exception& fault) {
    std::fprintf(stderr, "describe: %s\n", fault.what());
    return 1;
}
