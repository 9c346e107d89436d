#include "demo/verdict.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "ts/ts_packet.h"

namespace mcgate::host {

namespace {

constexpr std::uint64_t kMostNullPackets = 7;

class Stream {
public:
    explicit Stream(const std::string& path) : file_(path, std::ios::binary) {
        if (!file_) throw std::runtime_error("can't read " + path);
    }
    std::size_t read(std::vector<char>& block) {
        file_.read(block.data(), static_cast<std::streamsize>(block.size()));
        return static_cast<std::size_t>(file_.gcount());
    }

private:
    std::ifstream file_;
};

std::uint64_t sizeOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    return file ? static_cast<std::uint64_t>(file.tellg()) : 0;
}

// Null packets from the offset to the end; nothing when anything else is there.
bool endsInNullPackets(const std::string& path, std::uint64_t offset, std::uint64_t& count) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    TsPacket packet;
    count = 0;
    while (file.read(reinterpret_cast<char*>(packet.data()), static_cast<std::streamsize>(packet.size()))) {
        if (!ts_validate(packet.data()) || ts_get_pid(packet.data()) != kNullPid) return false;
        ++count;
    }
    return file.gcount() == 0 && count <= kMostNullPackets;
}

}  // namespace

Verdict compareStreams(const std::string& sent, const std::string& received) {
    Verdict verdict;
    verdict.sentBytes = sizeOf(sent);
    verdict.receivedBytes = sizeOf(received);
    Stream left(sent);
    Stream right(received);
    std::vector<char> one(1 << 20);
    std::vector<char> two(1 << 20);
    for (;;) {
        const std::size_t fromOne = left.read(one);
        const std::size_t fromTwo = right.read(two);
        const std::size_t common = std::min(fromOne, fromTwo);
        const auto difference =
            std::mismatch(one.begin(), one.begin() + static_cast<std::ptrdiff_t>(common), two.begin()).first -
            one.begin();
        verdict.firstDifference += static_cast<std::uint64_t>(difference);
        if (static_cast<std::size_t>(difference) < common || fromOne != fromTwo || common == 0) break;
    }
    verdict.whole = verdict.firstDifference == verdict.sentBytes &&
                    endsInNullPackets(received, verdict.sentBytes, verdict.nullPackets);
    return verdict;
}

}  // namespace mcgate::host
