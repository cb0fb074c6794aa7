// Every whole-file writer of the module on a real full disk and on a file
// system with no free inode: a small tmpfs mounted in a mount namespace of the
// test's own, so that nothing outside the test process sees it. Where the
// machine doesn't let the test make one, each test says why and is skipped.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/savecases.h"

namespace {

std::string s_unavailable = "the private mount namespace was not set up";

std::string systemError(const char* what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

// Puts the process into a mount namespace of its own whose mounts don't
// propagate back, before any test starts a thread.
class PrivateMounts : public ::testing::Environment {
public:
    void SetUp() override
    {
        if (::unshare(CLONE_NEWNS) != 0) {
            s_unavailable = systemError("unshare(CLONE_NEWNS)") +
                            " (a private mount namespace needs CAP_SYS_ADMIN, e.g. running as root)";
            return;
        }
        if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            s_unavailable = systemError("making the mounts private");
            return;
        }
        s_unavailable.clear();
    }
};

[[maybe_unused]] ::testing::Environment* const s_privateMounts =
    ::testing::AddGlobalTestEnvironment(new PrivateMounts);

enum class EShortage { kNoSpace, kNoInode };

struct DiskCase {
    savecases::CaseInfo info;
    EShortage shortage;
};

std::vector<DiskCase> allDiskCases()
{
    std::vector<DiskCase> cases;
    for (const savecases::CaseInfo& info : savecases::allCases()) {
        cases.push_back({info, EShortage::kNoSpace});
        cases.push_back({info, EShortage::kNoInode});
    }
    return cases;
}

std::string diskCaseName(const ::testing::TestParamInfo<DiskCase>& param)
{
    return std::string(param.param.info.name) +
           (param.param.shortage == EShortage::kNoSpace ? "_OnAFullDisk" : "_WithNoFreeInode");
}

// Fills the file system of the folder until it refuses: with data for a
// full disk, with empty files for no free inode. Answers the errno it ended on.
int exhaust(const std::filesystem::path& folder, EShortage shortage)
{
    if (shortage == EShortage::kNoInode) {
        for (int i = 0; i < 100000; ++i) {
            const std::string name = (folder / ("inode" + std::to_string(i))).string();
            const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (fd < 0) return errno;
            ::close(fd);
        }
        return 0;
    }
    const int fd = ::open((folder / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) return errno;
    const std::string chunk(65536, 'f');
    int error = 0;
    // Big chunks first, then single bytes into what is left of the last page.
    for (size_t size : {chunk.size(), size_t{1}}) {
        for (int i = 0; i < 1000000; ++i) {
            if (::write(fd, chunk.data(), size) < 0) {
                error = errno;
                break;
            }
        }
    }
    ::close(fd);
    return error;
}

class FullDiskTest : public ::testing::TestWithParam<DiskCase> {
protected:
    void SetUp() override
    {
        if (!s_unavailable.empty()) GTEST_SKIP() << "no private tmpfs: " << s_unavailable;
        std::string templ = "/tmp/panelmfd-fulldisk-XXXXXX";
        ASSERT_NE(::mkdtemp(templ.data()), nullptr) << systemError("mkdtemp");
        m_mountPoint = templ;
        const std::string options =
            GetParam().shortage == EShortage::kNoSpace ? "size=2m,mode=0755" : "size=8m,nr_inodes=64,mode=0755";
        if (::mount("tmpfs", m_mountPoint.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
            const std::string reason = systemError("mount tmpfs");
            ::rmdir(m_mountPoint.c_str());
            m_mountPoint.clear();
            GTEST_SKIP() << "no private tmpfs: " << reason;
        }
        m_mounted = true;
        const char* old = std::getenv("TMPDIR");
        m_oldTmpdir = old ? old : "";
        ::setenv("TMPDIR", m_mountPoint.c_str(), 1);
    }
    void TearDown() override
    {
        if (m_mountPoint.empty()) return;
        if (m_oldTmpdir.empty())
            ::unsetenv("TMPDIR");
        else
            ::setenv("TMPDIR", m_oldTmpdir.c_str(), 1);
        if (m_mounted) ::umount2(m_mountPoint.c_str(), MNT_DETACH);
        ::rmdir(m_mountPoint.c_str());
    }

    std::string m_mountPoint;
    std::string m_oldTmpdir;
    bool m_mounted = false;
};

} // namespace

TEST_P(FullDiskTest, PreviousFileStaysWholeAndTheOwnerReportsTheFailure)
{
    const DiskCase& disk = GetParam();
    std::unique_ptr<savecases::SaveCase> c = savecases::makeCase(disk.info.name);
    ASSERT_TRUE(c);
    c->prepare();
    const std::string previous = savecases::bytesOf(c->target());
    ASSERT_FALSE(previous.empty()) << c->target();
    ASSERT_EQ(c->target().string().rfind(m_mountPoint, 0), 0u) << c->target() << " is not on the small tmpfs";

    EXPECT_EQ(exhaust(m_mountPoint, disk.shortage), ENOSPC);

    ::testing::internal::CaptureStdout();
    c->change();
    const std::string printed = ::testing::internal::GetCapturedStdout();

    EXPECT_EQ(savecases::bytesOf(c->target()), previous);
    EXPECT_TRUE(savecases::reported(*c, printed)) << "missing: " << c->failureLine() << "\nprinted: " << printed;
    EXPECT_EQ(savecases::leftovers(c->target()), std::vector<std::string>{});
    c.reset();
}

INSTANTIATE_TEST_SUITE_P(EveryWriter, FullDiskTest, ::testing::ValuesIn(allDiskCases()), diskCaseName);
