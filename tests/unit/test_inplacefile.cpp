// The opener of files rewritten in place: only a regular file, never waiting.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "oskit/InPlaceFile.h"
#include "support/moduletestenv.h"

namespace fs = std::filesystem;
using oskit::InPlaceFile;

namespace {

std::string bytesOf(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class InPlaceFileTest : public ::testing::Test {
protected:
    std::string path(const std::string& name) const { return (dir.path() / name).string(); }
    testenv::TempDir dir;
};

} // namespace

TEST_F(InPlaceFileTest, ARegularFileIsRewrittenFromItsStartAndNeverTruncated)
{
    std::ofstream(path("f"), std::ios::binary) << "0123456789";
    {
        InPlaceFile file(path("f"), InPlaceFile::MUST_EXIST);
        ASSERT_EQ(file.result(), InPlaceFile::RESULT_OK);
        EXPECT_GE(file.descriptor(), 0);
        EXPECT_TRUE(file.write("ab"));
    }
    EXPECT_EQ(bytesOf(path("f")), "ab23456789");
}

TEST_F(InPlaceFileTest, NothingAtThePathFailsUnlessTheFileMayBeMade)
{
    InPlaceFile missing(path("none"), InPlaceFile::MUST_EXIST);
    EXPECT_EQ(missing.result(), InPlaceFile::RESULT_FAILED);
    EXPECT_EQ(missing.descriptor(), -1);
    EXPECT_FALSE(fs::exists(path("none")));

    {
        InPlaceFile made(path("made"), InPlaceFile::CREATE);
        ASSERT_EQ(made.result(), InPlaceFile::RESULT_OK);
        EXPECT_TRUE(made.write("x"));
    }
    EXPECT_EQ(bytesOf(path("made")), "x");
}

TEST_F(InPlaceFileTest, ANamedPipeWithoutAReaderIsRefusedAtOnce)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    for (InPlaceFile::ECreate create : {InPlaceFile::MUST_EXIST, InPlaceFile::CREATE}) {
        InPlaceFile file(path("pipe"), create);
        EXPECT_EQ(file.result(), InPlaceFile::RESULT_NOT_REGULAR);
        EXPECT_EQ(file.descriptor(), -1);
        EXPECT_FALSE(file.write("x"));
    }
}

TEST_F(InPlaceFileTest, AFolderAndADeviceAreRefused)
{
    fs::create_directory(path("folder"));
    fs::create_symlink("/dev/null", path("device"));
    for (const char* name : {"folder", "device"}) {
        InPlaceFile file(path(name), InPlaceFile::CREATE);
        EXPECT_EQ(file.result(), InPlaceFile::RESULT_NOT_REGULAR) << name;
    }
}

TEST_F(InPlaceFileTest, ALinkLoopFails)
{
    fs::create_symlink(path("b"), path("a"));
    fs::create_symlink(path("a"), path("b"));
    InPlaceFile file(path("a"), InPlaceFile::CREATE);
    EXPECT_EQ(file.result(), InPlaceFile::RESULT_FAILED);
}
