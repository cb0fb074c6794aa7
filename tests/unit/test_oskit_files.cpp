// Path, File, Directory, Time, HostAddress and the adapter table.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "oskit/Directory.h"
#include "oskit/File.h"
#include "oskit/HostAddress.h"
#include "oskit/NetworkAdapter.h"
#include "oskit/Path.h"
#include "oskit/Time.h"

namespace fs = std::filesystem;

namespace {

// A fresh directory below the system's temporary directory, removed afterwards.
class TempDir : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "oskit-files-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
    }
    void TearDown() override
    {
        std::error_code error;
        fs::remove_all(m_dir, error);
    }
    void touch(const std::string& name, const std::string& content = "")
    {
        std::ofstream(m_dir / name, std::ios::binary) << content;
    }
    fs::path m_dir;
};

std::string expanded(const std::string& base, const std::string& component)
{
    oskit::Path path(base);
    path.expand(component);
    return path.getPath();
}

} // namespace

TEST(Path, ExpandJoinsWithExactlyOneSeparator)
{
    EXPECT_EQ(expanded("a", "b"), "a/b");
    EXPECT_EQ(expanded("a/", "b"), "a/b");
    EXPECT_EQ(expanded("a", "/b"), "a/b");
    EXPECT_EQ(expanded("a/", "/b"), "a/b");
    EXPECT_EQ(expanded("/data/nvram", "macro/0"), "/data/nvram/macro/0");
}

TEST(Path, ExpandTurnsAlternateSeparatorsIntoSeparator)
{
    EXPECT_EQ(expanded("a", "b\\c"), "a/b/c");
    EXPECT_EQ(expanded("a/", "\\b"), "a/b");
}

TEST(Path, ExpandWithEmptySideIsFalseAndChangesNothing)
{
    oskit::Path empty;
    EXPECT_FALSE(empty.expand("b"));
    EXPECT_TRUE(empty.isEmpty());
    oskit::Path path("a");
    EXPECT_FALSE(path.expand(""));
    EXPECT_EQ(path.getPath(), "a");
    oskit::Path path2("a");
    EXPECT_TRUE(path2.expand("b"));
}

TEST(Path, SeparatorIsSlash)
{
    EXPECT_EQ(oskit::Path("x").getSeparator(), '/');
    EXPECT_STREQ(oskit::Path("x/y").c_str(), "x/y");
}

TEST(Path, FixNotFullQualifiedPrependsWorkingDirectory)
{
    const std::string cwd = fs::current_path().string();
    EXPECT_EQ(oskit::Path::getCurrentWorkingDirPath().getPath(), cwd);
    oskit::Path relative("config/file.xml");
    relative.fixNotFullQualified();
    EXPECT_EQ(relative.getPath(), cwd + "/config/file.xml");
    oskit::Path absolute("/etc/hosts");
    absolute.fixNotFullQualified();
    EXPECT_EQ(absolute.getPath(), "/etc/hosts");
}

TEST_F(TempDir, DirectoryCreateMakesParentsAndAcceptsExisting)
{
    oskit::Path path(m_dir.string());
    path.expand("one/two/three");
    oskit::Directory dir(path);
    EXPECT_FALSE(dir.existingDirectory());
    EXPECT_TRUE(dir.createDirectory());
    EXPECT_TRUE(dir.existingDirectory());
    EXPECT_TRUE(fs::is_directory(m_dir / "one" / "two" / "three"));
    EXPECT_TRUE(dir.createDirectory());
}

TEST_F(TempDir, DirectoryConstructorTouchesNothing)
{
    oskit::Directory dir(oskit::Path((m_dir / "absent").string()));
    EXPECT_FALSE(fs::exists(m_dir / "absent"));
    EXPECT_FALSE(dir.existingDirectory());
    EXPECT_TRUE(dir.getFileList("mac").empty());
    EXPECT_TRUE(dir.getDirList().empty());
}

TEST_F(TempDir, DirectoryCreateOverFileFails)
{
    touch("plain");
    oskit::Directory dir(oskit::Path((m_dir / "plain").string()));
    EXPECT_FALSE(dir.createDirectory());
}

TEST_F(TempDir, MacListingHoldsOnlyMacFilesSortedByName)
{
    touch("macro10.mac");
    touch("macro2.mac");
    touch("attach.xml");
    touch("macro3.mac.bak");
    touch("notmac");
    touch("x.MAC");
    fs::create_directory(m_dir / "dir.mac");
    oskit::Directory dir(oskit::Path(m_dir.string()));
    const std::list<std::string> expected{"macro10.mac", "macro2.mac"};
    EXPECT_EQ(dir.getFileList("mac", oskit::Directory::SORT_BY_NAME), expected);
}

TEST_F(TempDir, EmptyPatternListsAllFiles)
{
    touch("b.txt");
    touch("a.mac");
    fs::create_directory(m_dir / "sub");
    oskit::Directory dir(oskit::Path(m_dir.string()));
    const std::list<std::string> expected{"a.mac", "b.txt"};
    EXPECT_EQ(dir.getFileList(""), expected);
}

TEST_F(TempDir, DirListHoldsSubdirectoriesSorted)
{
    fs::create_directory(m_dir / "7");
    fs::create_directory(m_dir / "0");
    fs::create_directory(m_dir / "10");
    touch("file");
    oskit::Directory dir(oskit::Path(m_dir.string()));
    const std::list<std::string> expected{"0", "10", "7"};
    EXPECT_EQ(dir.getDirList(0), expected);
}

TEST_F(TempDir, FileWriteThenReadBack)
{
    const oskit::Path path((m_dir / "image.bin").string());
    {
        oskit::File file(path);
        ASSERT_TRUE(file.open(oskit::File::OPEN_WRITE));
        EXPECT_EQ(file.write("\x01\x02\x03\x00\x05", 5), 5);
        file.close();
        EXPECT_FALSE(file.isOpen());
    }
    EXPECT_TRUE(oskit::File::exists(path));
    oskit::File file(path);
    ASSERT_TRUE(file.open(1));
    unsigned char data[16] = {};
    EXPECT_EQ(file.read(data, 16), 5);
    EXPECT_EQ(data[0], 1);
    EXPECT_EQ(data[3], 0);
    EXPECT_EQ(data[4], 5);
    EXPECT_EQ(file.read(data, 16), 0);
}

TEST_F(TempDir, FileOpenMissingForReadingFails)
{
    oskit::File file(oskit::Path((m_dir / "missing").string()));
    EXPECT_FALSE(file.open(oskit::File::OPEN_READ));
    char c = 0;
    EXPECT_EQ(file.read(&c, 1), -1);
    EXPECT_EQ(file.write(&c, 1), -1);
}

TEST_F(TempDir, RemoveOfMissingFileIsNoError)
{
    touch("gone");
    const oskit::Path path((m_dir / "gone").string());
    EXPECT_EQ(oskit::File::remove(path), 0);
    EXPECT_FALSE(oskit::File::exists(path));
    EXPECT_EQ(oskit::File::remove(path), 0);
}

TEST(Time, CurrentTimeIsWallClockSeconds)
{
    const double now = static_cast<double>(std::time(nullptr));
    const oskit::Time t = oskit::Time::getCurrentTime();
    EXPECT_NEAR(t.getSeconds(), now, 5.0);
    const oskit::Time later = oskit::Time::getCurrentTime();
    EXPECT_GE(later - t, 0.0);
    EXPECT_DOUBLE_EQ(oskit::Time(12.5) - oskit::Time(2.0), 10.5);
}

TEST(Time, FormatUsesLocalTime)
{
    const time_t seconds = 1700000000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char expected[64];
    std::strftime(expected, sizeof expected, "%Y-%m-%dT%H:%M:%S", &local);
    EXPECT_EQ(oskit::Time(1700000000.75).format("%Y-%m-%dT%H:%M:%S"), expected);
}

TEST(Time, FormatInUtcZone)
{
    const char* old = std::getenv("TZ");
    const std::string saved = old ? old : "";
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    EXPECT_EQ(oskit::Time(0.0).format("%Y-%m-%dT%H:%M:%S"), "1970-01-01T00:00:00");
    EXPECT_EQ(oskit::Time(86399.9).format("%d %H:%M:%S"), "01 23:59:59");
    EXPECT_EQ(oskit::Time(0.0).format(""), "");
    if (old) {
        ::setenv("TZ", saved.c_str(), 1);
    } else {
        ::unsetenv("TZ");
    }
    ::tzset();
}

TEST(HostAddress, KeepsTextAsGiven)
{
    EXPECT_STREQ(oskit::HostAddress("192.168.1.10").getAddressString(), "192.168.1.10");
    EXPECT_STREQ(oskit::HostAddress("not an address").getAddressString(), "not an address");
    EXPECT_STREQ(oskit::HostAddress().getAddressString(), "");
    EXPECT_TRUE(oskit::HostAddress("10.0.0.1").isValid());
    EXPECT_FALSE(oskit::HostAddress("10.0.0").isValid());
    EXPECT_FALSE(oskit::HostAddress().isValid());
}

TEST(HostAddress, SpecialAddresses)
{
    using oskit::HostAddress;
    EXPECT_STREQ(HostAddress(HostAddress::SPECIAL_NULL).getAddressString(), "");
    EXPECT_STREQ(HostAddress(HostAddress::SPECIAL_ANY).getAddressString(), "0.0.0.0");
    EXPECT_STREQ(HostAddress(HostAddress::SPECIAL_LOCALHOST).getAddressString(), "127.0.0.1");
    EXPECT_STREQ(HostAddress(HostAddress::SPECIAL_BROADCAST).getAddressString(), "255.255.255.255");
    EXPECT_STREQ(HostAddress(HostAddress::SPECIAL_NETMASK_C).getAddressString(), "255.255.255.0");
}

TEST(NetworkAdapter, PrintsLoopbackLine)
{
    std::ostringstream captured;
    std::streambuf* old = std::cout.rdbuf(captured.rdbuf());
    oskit::NetworkAdapter().printMappingTable();
    std::cout.rdbuf(old);
    EXPECT_NE(captured.str().find("lo: 127.0.0.1\n"), std::string::npos) << captured.str();
}
