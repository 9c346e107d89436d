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

TEST(OutputFile, ANewOneWritesOverNothingAndFollowsNoLink) {
    const auto directory = std::filesystem::temp_directory_path() / ("mcgate-new-" + std::to_string(getpid()));
    std::filesystem::create_directory(directory);
    const auto opened = [&](const char* name, OutputFile::Begin begin = OutputFile::Begin::New) {
        const OutputFile file((directory / name).string(), [] { return true; }, begin);
    };
    std::filesystem::create_symlink(directory / "elsewhere", directory / "link");
    ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_NO_THROW(opened("file"));
    EXPECT_THROW(opened("file"), std::runtime_error);
    EXPECT_NO_THROW(opened("file", OutputFile::Begin::AppendOwn));
    EXPECT_THROW(opened("link"), std::runtime_error);
    EXPECT_THROW(opened("link", OutputFile::Begin::AppendOwn), std::runtime_error);
    EXPECT_NO_THROW(opened("pipe"));
    EXPECT_FALSE(std::filesystem::exists(directory / "elsewhere"));
    std::filesystem::remove_all(directory);
}

}  // namespace
