#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/file_stream.h"
#include "platform/memory_stream.h"
#include "support/failure_of.h"
#include "support/temporary_file.h"

namespace {

using namespace mcgate::platform;
using Bytes = std::vector<std::uint8_t>;

/// The stream to its end, in pieces.
Bytes readAll(IStream& stream) {
    Bytes all;
    std::uint32_t count = 1;
    while (count > 0) {
        std::uint8_t piece[3] = {};
        EXPECT_EQ(stream.Read(piece, sizeof piece, &count), S_OK);
        all.insert(all.end(), piece, piece + count);
    }
    return all;
}

struct FileStreamTest : testing::Test {
    std::filesystem::path directory;
    const Bytes old{1, 2, 3, 4};
    const Bytes fresh{5, 6};

    void SetUp() override {
        std::string name = testing::TempDir() + "mcgate-stream-XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        directory = name;
    }
    void TearDown() override { std::filesystem::remove_all(directory); }
    void write(const std::string& name, const Bytes& content) const {
        const auto stream = FileStream::create(directory / name);
        ASSERT_EQ(stream->Write(content.data(), static_cast<std::uint32_t>(content.size()), nullptr), S_OK);
        stream->commit();
    }
    Bytes content(const std::string& name) const { return readAll(*FileStream::open(directory / name)); }
    std::ptrdiff_t files() const {
        return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
    }
};

TEST(MemoryStream, EndsWithAShortRead) {
    const auto stream = MemoryStream::create({1, 2, 3, 4});
    EXPECT_EQ(stream->Write("\5", 1, nullptr), S_OK);
    EXPECT_EQ(readAll(*stream), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_TRUE(ComPtr<IUnknown>(stream.get()).query<IStream>());
}

TEST_F(FileStreamTest, AFileIsReplacedWholeOrNotAtAll) {
    write("file", old);
    std::filesystem::permissions(directory / "file", std::filesystem::perms(0640));
    {
        const auto dropped = FileStream::create(directory / "file");
        ASSERT_EQ(dropped->Write(fresh.data(), 2, nullptr), S_OK);
        EXPECT_EQ(content("file"), old);
    }
    EXPECT_EQ(files(), 1) << "what grew beside it is gone";
    std::filesystem::create_symlink("file", directory / "link");
    write("link", fresh);
    EXPECT_EQ(content("file"), fresh);
    EXPECT_TRUE(std::filesystem::is_symlink(directory / "link"));
    std::filesystem::create_symlink("later", directory / "early");
    write("early", fresh);
    EXPECT_TRUE(std::filesystem::is_symlink(directory / "early"));
    EXPECT_TRUE(std::filesystem::is_regular_file(directory / "later"));
    EXPECT_EQ(std::filesystem::status(directory / "file").permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(files(), 4);
}

TEST_F(FileStreamTest, WhatIsNoFileIsRefusedByName) {
    const auto refusal = [](const std::string& path) { return test::failureOf([&] { FileStream::create(path); }); };
    EXPECT_EQ(refusal(directory), "can't write " + directory.string() + ": Is a directory");
    EXPECT_EQ(refusal("/dev/null"), "can't write /dev/null: it is no file");
    EXPECT_EQ(refusal(directory / "no/file"),
              "can't write " + directory.string() + "/no/file: No such file or directory");
    EXPECT_THROW(FileStream::open(directory / "none"), std::runtime_error);
    EXPECT_THROW(FileStream::open(directory), std::runtime_error);
}

}  // namespace
