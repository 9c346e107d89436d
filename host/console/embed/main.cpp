// Turns the console's built page into a source file that holds it: mcgate_embed DIRECTORY OUT.cpp.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesIn(const fs::path& directory) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// An empty array is none, so each ends with a byte that doesn't count.
void writeBytes(std::ostream& out, const fs::path& file, std::size_t number) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("can't read " + file.string());
    out << "const unsigned char kFile" << number << "[] = {";
    std::size_t count = 0;
    for (auto byte = std::istreambuf_iterator<char>(in); byte != std::istreambuf_iterator<char>(); ++byte) {
        out << (count++ % 32 == 0 ? "\n" : "") << static_cast<int>(static_cast<unsigned char>(*byte)) << ',';
    }
    out << "0};\n";
}

void write(const fs::path& directory, const fs::path& target) {
    const auto files = filesIn(directory);
    std::ofstream out(target, std::ios::binary);
    out << "#include \"console/site_files.h\"\nnamespace {\n";
    for (std::size_t i = 0; i < files.size(); ++i) writeBytes(out, files[i], i);
    out << "template <std::size_t size>\nstd::string_view view(const unsigned char (&bytes)[size]) {\n"
           "    return {reinterpret_cast<const char*>(bytes), size - 1};\n}\n}  // namespace\n"
           "namespace mcgate::host {\nstd::span<const SiteFile> siteFiles() {\n"
           "    static const SiteFile files[] = {\n";
    for (std::size_t i = 0; i < files.size(); ++i) {
        out << "        {\"/" << files[i].lexically_relative(directory).generic_string() << "\", view(kFile" << i
            << ")},\n";
    }
    out << "    };\n    return files;\n}\n}  // namespace mcgate::host\n";
    if (!out.flush()) throw std::runtime_error("can't write " + target.string());
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 3) throw std::runtime_error("right would be mcgate_embed DIRECTORY OUT.cpp");
        write(argv[1], argv[2]);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "mcgate_embed: %s\n", problem.what());
        return 1;
    }
}
