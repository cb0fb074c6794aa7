// Programming the DDC EEPROM of the menu panel.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "support/logcapture.h"
#include "support/panelmfdharness.h"

namespace {

// Gives back what was stored, with the lowest bit of one byte inverted.
class CorruptingBackend : public FakeSystemBackend {
public:
    bool i2cRead(const std::string& bus, int device, int offset, unsigned char* data, int length, int flags) override
    {
        const bool ok = FakeSystemBackend::i2cRead(bus, device, offset, data, length, flags);
        if (ok && corruptAt >= 0 && corruptAt < length) data[corruptAt] ^= 0x01;
        return ok;
    }
    int corruptAt = -1;
};

std::string image(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 7 + 3) & 0xFF);
    return bytes;
}

// Sixteen bytes to a line, hex two wide with blank fill, each followed by a blank.
std::string dumpOf(const std::string& bytes)
{
    static const char* digits = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < 256; ++i) {
        const auto b = static_cast<unsigned char>(bytes[i]);
        out += b < 16 ? ' ' : digits[b >> 4];
        out += digits[b & 0xF];
        out += ' ';
        if ((i + 1) % 16 == 0) out += '\n';
    }
    return out;
}

class EEPROMTest : public ::testing::Test {
protected:
    void startWith(std::shared_ptr<FakeSystemBackend> backend = nullptr)
    {
        if (backend) {
            m_backend = backend;
            setSystemBackendFactory([backend] { return std::static_pointer_cast<ISystemBackend>(backend); });
        } else {
            m_backend = h.system.backend;
        }
        // Initialisation is enough for this FID, and keeps the settings'
        // brightness observer, which prints, out of standard output.
        h.create();
        setSystemBackendFactory(nullptr);
        h.state.clearChanges();
        log.clear();
    }

    // Runs the FID with standard output (the descriptor) captured in a file.
    bool write(std::initializer_list<std::pair<std::string, std::string>> params)
    {
        const std::filesystem::path capture = h.dir.path() / "stdout.txt";
        std::cout.flush();
        std::fflush(stdout);
        const int saved = ::dup(1);
        const int fd = ::open(capture.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(fd, 1);
        ::close(fd);
        const bool result = h.fid("MENU.DDC_EEPROM.WRITE", params);
        std::cout.flush();
        std::fflush(stdout);
        ::dup2(saved, 1);
        ::close(saved);
        stdoutText = readBytes(capture);
        return result;
    }

    std::vector<std::string> i2cCalls()
    {
        std::lock_guard<std::mutex> lock(m_backend->mutex);
        return m_backend->i2cCalls;
    }
    std::string eeprom()
    {
        std::lock_guard<std::mutex> lock(m_backend->mutex);
        return std::string(m_backend->eeprom.begin(), m_backend->eeprom.end());
    }
    std::string path(const std::string& name) const { return (h.dataDir() / name).string(); }

    PanelMFDHarness h;
    LogCapture log;
    std::string stdoutText;
    std::shared_ptr<FakeSystemBackend> m_backend;
};

const std::vector<std::string> kFailed = {"set MENU.DDC_EEPROM.WRITE=IN_PROGRESS", "set MENU.DDC_EEPROM.WRITE=FAILED"};
const std::vector<std::string> kSuccess = {"set MENU.DDC_EEPROM.WRITE=IN_PROGRESS",
                                           "set MENU.DDC_EEPROM.WRITE=SUCCESS"};
const std::vector<std::string> kTransfer = {"write I2C_DDC 160 0 256", "read I2C_DDC 160 0 256"};

} // namespace

TEST_F(EEPROMTest, ImageOf256BytesIsWrittenReadBackAndReportedAsSuccess)
{
    startWith();
    testenv::writeFile(h.dataDir() / "ddc.bin", image(256));
    EXPECT_TRUE(write({{"FILENAME", "ddc.bin"}}));
    EXPECT_EQ(h.state.changes(), kSuccess);
    EXPECT_EQ(i2cCalls(), kTransfer);
    EXPECT_EQ(eeprom(), image(256));
    EXPECT_EQ(log.lines(), std::vector<std::string>{"INFO PanelDriver: Menu Panel DDC EEPROM written successfully."});
    EXPECT_EQ(stdoutText, "");
}

TEST_F(EEPROMTest, FileOf255BytesFailsWithTheReadMessageAndNoI2CTraffic)
{
    startWith();
    testenv::writeFile(h.dataDir() / "short.bin", image(255));
    EXPECT_FALSE(write({{"FILENAME", "short.bin"}}));
    EXPECT_EQ(h.state.changes(), kFailed);
    EXPECT_TRUE(i2cCalls().empty());
    EXPECT_EQ(log.lines(), std::vector<std::string>{"ERROR PanelDriver: Menu Panel DDC EEPROM write FAILED: failed to "
                                                    "read 256 bytes from file '" +
                                                    path("short.bin") + "'."});
}

TEST_F(EEPROMTest, FileOf300BytesProgramsTheFirst256)
{
    startWith();
    testenv::writeFile(h.dataDir() / "long.bin", image(300));
    EXPECT_TRUE(write({{"FILENAME", "long.bin"}}));
    EXPECT_EQ(h.state.changes(), kSuccess);
    EXPECT_EQ(eeprom(), image(256));
}

TEST_F(EEPROMTest, NoFilenameFailsWithoutALogLine)
{
    startWith();
    EXPECT_FALSE(write({}));
    EXPECT_EQ(h.state.changes(), kFailed);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(i2cCalls().empty());
}

TEST_F(EEPROMTest, MissingFileFailsWithTheOpenMessage)
{
    startWith();
    EXPECT_FALSE(write({{"FILENAME", "absent.bin"}}));
    EXPECT_EQ(h.state.changes(), kFailed);
    EXPECT_EQ(log.lines(), std::vector<std::string>{
                               "ERROR PanelDriver: Menu Panel DDc EEPROM write faild to open file " + path("absent.bin")});
    EXPECT_TRUE(i2cCalls().empty());
}

TEST_F(EEPROMTest, FailedWriteIsReportedAndNothingIsReadBack)
{
    auto backend = std::make_shared<FakeSystemBackend>();
    backend->i2cWriteOk = false;
    startWith(backend);
    testenv::writeFile(h.dataDir() / "ddc.bin", image(256));
    EXPECT_FALSE(write({{"FILENAME", "ddc.bin"}}));
    EXPECT_EQ(h.state.changes(), kFailed);
    EXPECT_EQ(i2cCalls(), std::vector<std::string>{"write I2C_DDC 160 0 256"});
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"ERROR PanelDriver: Menu Panel DDC EEPROM write FAILED: I2C write failed."});
}

TEST_F(EEPROMTest, FailedReadBackIsReported)
{
    auto backend = std::make_shared<FakeSystemBackend>();
    backend->i2cReadOk = false;
    startWith(backend);
    testenv::writeFile(h.dataDir() / "ddc.bin", image(256));
    EXPECT_FALSE(write({{"FILENAME", "ddc.bin"}}));
    EXPECT_EQ(h.state.changes(), kFailed);
    EXPECT_EQ(i2cCalls(), kTransfer);
    EXPECT_EQ(log.lines(), std::vector<std::string>{
                               "ERROR PanelDriver: Menu Panel DDC EEPROM write FAILED: I2C read back failed."});
}

TEST_F(EEPROMTest, ReadBackDifferingInOneByteFailsAndDumpsBothImages)
{
    auto backend = std::make_shared<CorruptingBackend>();
    backend->corruptAt = 200;
    startWith(backend);
    const std::string written = image(256);
    testenv::writeFile(h.dataDir() / "ddc.bin", written);
    EXPECT_FALSE(write({{"FILENAME", "ddc.bin"}}));
    EXPECT_EQ(h.state.changes(), kFailed);
    std::string readBack = written;
    readBack[200] = static_cast<char>(readBack[200] ^ 0x01);
    EXPECT_EQ(stdoutText, "Write bytes:\n" + dumpOf(written) + "Read bytes:\n" + dumpOf(readBack));
    EXPECT_EQ(log.lines(), std::vector<std::string>{"ERROR PanelDriver: Menu Panel DDC EEPROM write FAILED: I2C read "
                                                    "back not equal to written data."});
}

TEST_F(EEPROMTest, DumpFillsSmallBytesWithABlank)
{
    auto backend = std::make_shared<CorruptingBackend>();
    backend->corruptAt = 0;
    startWith(backend);
    testenv::writeFile(h.dataDir() / "zero.bin", std::string(256, '\0'));
    EXPECT_FALSE(write({{"FILENAME", "zero.bin"}}));
    std::string line;
    for (int i = 0; i < 16; ++i) line += " 0 ";
    EXPECT_EQ(stdoutText.substr(0, 13 + line.size() + 1), "Write bytes:\n" + line + "\n");
    const size_t read = stdoutText.find("Read bytes:\n");
    ASSERT_NE(read, std::string::npos);
    EXPECT_EQ(stdoutText.substr(read + 12, 4), " 1  ");
}

TEST_F(EEPROMTest, StateStaysAtItsLastValueUntilTheNextFID)
{
    startWith();
    testenv::writeFile(h.dataDir() / "ddc.bin", image(256));
    EXPECT_TRUE(write({{"FILENAME", "ddc.bin"}}));
    EXPECT_EQ(h.state.value("MENU.DDC_EEPROM.WRITE"), "SUCCESS");
    EXPECT_FALSE(write({{"FILENAME", "nothing"}}));
    EXPECT_EQ(h.state.value("MENU.DDC_EEPROM.WRITE"), "FAILED");
}

TEST_F(EEPROMTest, MissingParameterListCountsAsNoFilename)
{
    startWith();
    EXPECT_FALSE(h.mfd->onFIDMenuDDCEEPROMWrite("MENU.DDC_EEPROM.WRITE", nullptr));
    EXPECT_EQ(h.state.changes(), kFailed);
    EXPECT_TRUE(log.lines().empty());
}
