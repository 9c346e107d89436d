#include "io/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace {

using mcgate::host::OutputFile;

// A run that comes right behind a stop takes the request back before anybody looked for it.
TEST(OutputFile, AStopRequestThatIsTakenBackGivesUpNothingLater) {
    const auto directory = std::filesystem::temp_directory_path() / ("mcgate-output-" + std::to_string(getpid()));
    std::filesystem::create_directory(directory);
    const std::string path = (directory / "pipe").string();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    std::atomic<bool> stop{true};
    OutputFile file(path, [&stop] { return stop.load(); });
    const std::vector<std::uint8_t> block(1U << 20);
    file.write(block.data(), block.size());  // nobody reads: the rest is given up after its second
    const auto givenUp = file.givenUp();
    EXPECT_GT(givenUp, 0U);

    stop = false;
    std::vector<std::uint8_t> taken(1U << 16);
    std::size_t read = 0;
    std::jthread draining([&](const std::stop_token& enough) {
        while (!enough.stop_requested()) {
            const auto piece = ::read(reader, taken.data(), taken.size());
            if (piece > 0) read += static_cast<std::size_t>(piece);
        }
    });
    file.write(block.data(), block.size());
    file.write(block.data(), block.size());
    EXPECT_EQ(file.givenUp(), givenUp);
    draining.request_stop();
    draining.join();
    EXPECT_GE(read, block.size());
    close(reader);
    std::filesystem::remove_all(directory);
}

}  // namespace
