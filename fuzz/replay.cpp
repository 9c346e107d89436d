// Gives a program of this folder its first inputs without libFuzzer: each whole, cut at every length, and with every
// byte turned over. A broken invariant aborts.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** words) {
    if (count != 2) return 2;
    for (const auto& input : std::filesystem::directory_iterator(words[1])) {
        std::ifstream file(input.path(), std::ios::binary);
        std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
        for (std::size_t size = 0; size <= bytes.size(); ++size) {
            const std::vector<std::uint8_t> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
            LLVMFuzzerTestOneInput(part.data(), part.size());
        }
        for (auto& byte : bytes) {
            byte = static_cast<std::uint8_t>(~byte);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            byte = static_cast<std::uint8_t>(~byte);
        }
    }
    return 0;
}
