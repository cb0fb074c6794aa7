#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "pmemstoragetext.h"
#include "support/moduletestenv.h"

namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

// The bytes of a file (empty when it can't be read).
std::string readBytes(const fs::path& path)
{
    std::string bytes;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return bytes;
    char chunk[4096];
    std::size_t count;
    while ((count = std::fread(chunk, 1, sizeof(chunk), file)) > 0) bytes.append(chunk, count);
    std::fclose(file);
    return bytes;
}

std::string line1(const std::string& name)
{
    std::string line = name.substr(0, 30);
    line.resize(30, ' ');
    return line + "\n";
}

class PmemStorageTextTest : public ::testing::Test {
protected:
    fs::path registerFile(int wp, int reg) const
    {
        return dir.path() / "pmem" / ("workplace" + std::to_string(wp)) / (std::to_string(reg) + ".pmem");
    }
    fs::path defaultFile() const { return dir.path() / "pmem" / "default.pmem"; }

    // Stores a register through a storage of its own, so the storage under test holds nothing.
    void writeRegister(int wp, int reg, const std::string& bytes) const
    {
        testenv::writeFile(reg == 0 ? defaultFile() : registerFile(wp, reg), bytes);
    }

    testenv::TempDir dir;
    PmemStorageText storage{dir.str()};
};

} // namespace

TEST_F(PmemStorageTextTest, SavedRegisterFileHoldsNameLineVersionLineAndSortedValues)
{
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.setRegisterValue("ZETA", "last");
    storage.setRegisterValue("ALPHA", "first");
    storage.setRegisterValue("Beta", "mid");
    ASSERT_TRUE(storage.setRegisterName("Scene A"));
    ASSERT_TRUE(storage.saveRegister(2));
    EXPECT_EQ(readBytes(registerFile(1, 5)),
              line1("Scene A") + "version-2\nALPHA first\nBeta mid\nZETA last\n");
}

TEST_F(PmemStorageTextTest, NameOfThirtyBytesOrMoreIsStoredCutToThirty)
{
    storage.loadRegister(1, 5, 0);
    storage.setRegisterValue("K", "V");
    storage.setRegisterName("0123456789012345678901234567890123456789");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 5)), "012345678901234567890123456789\nversion-0\nK V\n");
    std::string name;
    EXPECT_TRUE(storage.getRegisterName(1, 5, name));
    EXPECT_EQ(name, "012345678901234567890123456789");
}

TEST_F(PmemStorageTextTest, NameOfOneByteFillsLineOneWithBlanksAndReadsBackAsThatByte)
{
    storage.loadRegister(1, 5, 0);
    storage.setRegisterValue("K", "V");
    storage.setRegisterName("X");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 5)), "X" + std::string(29, ' ') + "\nversion-0\nK V\n");
    std::string name;
    EXPECT_TRUE(storage.getRegisterName(1, 5, name));
    EXPECT_EQ(name, "X");
}

TEST_F(PmemStorageTextTest, InnerBlanksOfANameStayAndOuterOnesAreLost)
{
    storage.loadRegister(1, 5, 0);
    storage.setRegisterValue("K", "V");
    storage.setRegisterName("  two  words ");
    ASSERT_TRUE(storage.saveRegister(0));
    PmemStorageText reader(dir.str());
    ASSERT_TRUE(reader.loadRegister(1, 5, 0));
    std::string name;
    ASSERT_TRUE(reader.getRegisterName(name));
    EXPECT_EQ(name, "two  words");
}

TEST_F(PmemStorageTextTest, RegisterWithoutFileLoadsEmptyWithDefaultName)
{
    ASSERT_TRUE(storage.loadRegister(1, 7, 0));
    EXPECT_TRUE(storage.registerIsEmpty());
    std::string name = "untouched";
    EXPECT_FALSE(storage.getRegisterName(name));
    EXPECT_EQ(name, "untouched");
    // The default name is held all the same: a save writes it.
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 7)), line1("pmem7") + "version-0\n");
}

TEST_F(PmemStorageTextTest, WorkplaceZeroNeverLoads)
{
    writeRegister(0, 5, line1("R") + "version-0\nK V\n");
    EXPECT_FALSE(storage.loadRegister(0, 5, 0));
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_FALSE(storage.saveRegister(0));
}

TEST_F(PmemStorageTextTest, NegativeRegisterNeverLoads) { EXPECT_FALSE(storage.loadRegister(1, -1, 0)); }

TEST_F(PmemStorageTextTest, RegisterZeroIsTheSharedDefaultFile)
{
    writeRegister(0, 0, line1("Default") + "version-0\nA 1\n");
    ASSERT_TRUE(storage.loadRegister(1, 0, 0));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("A", value));
    EXPECT_EQ(value, "1");
    PmemStorageText other(dir.str());
    ASSERT_TRUE(other.loadRegister(6, 0, 0));
    EXPECT_TRUE(other.getRegisterValue("A", value));
}

TEST_F(PmemStorageTextTest, RegisterThousandIsTheSecondDefaultFile)
{
    fs::create_directories(dir.path() / "pmem");
    ASSERT_TRUE(storage.loadRegister(3, 1000, 0));
    storage.setRegisterValue("A", "1");
    ASSERT_TRUE(storage.saveRegister(1));
    EXPECT_EQ(readBytes(dir.path() / "pmem" / "default_MO.pmem"), line1("pmem1000") + "version-1\nA 1\n");
    EXPECT_FALSE(fs::exists(dir.path() / "pmem" / "workplace3"));
}

TEST_F(PmemStorageTextTest, DefaultRegisterGetsNoDirectoryMadeForIt)
{
    ASSERT_TRUE(storage.loadRegister(3, 0, 0));
    storage.setRegisterValue("A", "1");
    CaptureStdout();
    EXPECT_FALSE(storage.saveRegister(0));
    EXPECT_EQ(GetCapturedStdout(), "PMEM Error! Can't save file \"" + defaultFile().string() + "\"\n");
    EXPECT_FALSE(fs::exists(dir.path() / "pmem"));
}

TEST_F(PmemStorageTextTest, SecondLoadOfTheSameNumberAnswersFromMemory)
{
    writeRegister(1, 5, line1("R") + "version-0\nA 1\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.setRegisterValue("UNSAVED", "x");
    writeRegister(1, 5, line1("R") + "version-0\nB 2\n");
    ASSERT_TRUE(storage.loadRegister(2, 5, 0));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("A", value));
    EXPECT_TRUE(storage.getRegisterValue("UNSAVED", value));
    EXPECT_FALSE(storage.getRegisterValue("B", value));
    fs::remove(registerFile(1, 5));
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_TRUE(storage.getRegisterValue("A", value));
}

TEST_F(PmemStorageTextTest, FileOfOnlyLineOneWithTwoWordsYieldsOneValue)
{
    writeRegister(1, 5, "Two Words and more\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_EQ(storage.getRegisterValues().size(), 1u);
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("Two", value));
    EXPECT_EQ(value, "Words");
    std::string name;
    EXPECT_TRUE(storage.getRegisterName(name));
    EXPECT_EQ(name, "Two Words and more");
}

TEST_F(PmemStorageTextTest, OldFileWithoutVersionLineReadsItsSecondLineAsValue)
{
    writeRegister(1, 5, line1("Old") + "A 1\nB 2\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_EQ(storage.getRegisterValues(), (std::map<std::string, std::string>{{"A", "1"}, {"B", "2"}}));
}

TEST_F(PmemStorageTextTest, ValueLineOfThreeWordsKeepsTheFirstAndLineOfOnlyAKeyIsDropped)
{
    writeRegister(1, 5, line1("R") + "version-0\nKEY one two three\nLONELY\nNEXT v\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_EQ(storage.getRegisterValues(), (std::map<std::string, std::string>{{"KEY", "one"}, {"NEXT", "v"}}));
}

TEST_F(PmemStorageTextTest, KeyMetTwiceKeepsItsLastValue)
{
    writeRegister(1, 5, line1("R") + "version-0\nK first\nK second\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("K", value));
    EXPECT_EQ(value, "second");
}

TEST_F(PmemStorageTextTest, LineLongerThan499BytesIsReadAsMoreThanOneLine)
{
    const std::string longValue(600, 'v');
    writeRegister(1, 5, line1("R") + "version-0\nK " + longValue + "\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    std::string value;
    ASSERT_TRUE(storage.getRegisterValue("K", value));
    EXPECT_EQ(value, std::string(497, 'v'));
    EXPECT_EQ(storage.getRegisterValues().size(), 1u);
}

TEST_F(PmemStorageTextTest, Util1InALongerWordOfRegisterFiveBecomesBgdcAsAWhole)
{
    writeRegister(1, 5, line1("R") + "version-0\nA xxUTIL1yy\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 1));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("A", value));
    EXPECT_EQ(value, "BGDC");
}

TEST_F(PmemStorageTextTest, DefaultRegisterIsNeverConverted)
{
    writeRegister(1, 0, line1("R") + "version-0\nA xxUTIL1yy\n");
    ASSERT_TRUE(storage.loadRegister(1, 0, 1));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("A", value));
    EXPECT_EQ(value, "xxUTIL1yy");
}

TEST_F(PmemStorageTextTest, ConversionIsAppliedToValuesNotKeys)
{
    writeRegister(1, 5, line1("R") + "version-0\nUTIL1 plain\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 2));
    EXPECT_EQ(storage.getRegisterValues(), (std::map<std::string, std::string>{{"UTIL1", "plain"}}));
}

TEST(PmemStorageTextConversion, TableRowsByVersionAndFileVersion)
{
    EXPECT_EQ(PmemStorageText::convertValue("UTIL1", 1, 0), "BGDC");
    EXPECT_EQ(PmemStorageText::convertValue("UTIL2", 1, 0), "BGDD");
    EXPECT_EQ(PmemStorageText::convertValue("KEY5", 1, 0), "KEY5");
    EXPECT_EQ(PmemStorageText::convertValue("UTIL1", 1, 1), "UTIL1");
    EXPECT_EQ(PmemStorageText::convertValue("KEY5", 2, 0), "KEY1");
    EXPECT_EQ(PmemStorageText::convertValue("KEY6", 2, 1), "KEY1");
    EXPECT_EQ(PmemStorageText::convertValue("UTIL1", 2, 1), "BGDC");
    EXPECT_EQ(PmemStorageText::convertValue("UTIL2", 2, 0), "BGDD");
    EXPECT_EQ(PmemStorageText::convertValue("KEY5", 2, 2), "KEY5");
    // The first row whose word is found wins.
    EXPECT_EQ(PmemStorageText::convertValue("UTIL2KEY6", 2, 0), "KEY1");
    EXPECT_EQ(PmemStorageText::convertValue("UTIL2UTIL1", 1, 0), "BGDC");
    for (int version : {0, 3, 4}) {
        EXPECT_EQ(PmemStorageText::convertValue("UTIL1", version, 0), "UTIL1");
        EXPECT_EQ(PmemStorageText::convertValue("KEY5", version, 0), "KEY5");
    }
}

TEST_F(PmemStorageTextTest, FileVersionIsReadFromTheVersionLine)
{
    writeRegister(1, 5, line1("R") + "version-1\nA KEY5\nB UTIL1\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 1));
    EXPECT_EQ(storage.getRegisterValues(), (std::map<std::string, std::string>{{"A", "KEY5"}, {"B", "UTIL1"}}));
    PmemStorageText v2(dir.str());
    ASSERT_TRUE(v2.loadRegister(1, 5, 2));
    EXPECT_EQ(v2.getRegisterValues(), (std::map<std::string, std::string>{{"A", "KEY1"}, {"B", "BGDC"}}));
}

TEST_F(PmemStorageTextTest, LoadDoesNotRewriteTheFile)
{
    const std::string bytes = line1("R") + "version-0\nA UTIL1\n";
    writeRegister(1, 5, bytes);
    ASSERT_TRUE(storage.loadRegister(1, 5, 1));
    EXPECT_EQ(readBytes(registerFile(1, 5)), bytes);
    ASSERT_TRUE(storage.saveRegister(3));
    EXPECT_EQ(readBytes(registerFile(1, 5)), line1("R") + "version-3\nA BGDC\n");
}

TEST_F(PmemStorageTextTest, SaveWithoutHeldRegisterFails) { EXPECT_FALSE(storage.saveRegister(0)); }

TEST_F(PmemStorageTextTest, SaveThatCannotWriteReportsThePathAndFails)
{
    fs::create_directories(registerFile(1, 5));
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.setRegisterValue("A", "1");
    CaptureStdout();
    EXPECT_FALSE(storage.saveRegister(0));
    EXPECT_EQ(GetCapturedStdout(), "PMEM Error! Can't save file \"" + registerFile(1, 5).string() + "\"\n");
    EXPECT_TRUE(fs::is_directory(registerFile(1, 5)));
    // No temporary file is left behind.
    EXPECT_EQ(std::distance(fs::directory_iterator(registerFile(1, 5).parent_path()), fs::directory_iterator()), 1);
}

TEST_F(PmemStorageTextTest, SaveWithEmptyRootDirectoryReportsEmptyPath)
{
    PmemStorageText rootless("");
    ASSERT_TRUE(rootless.loadRegister(1, 5, 0));
    rootless.setRegisterValue("A", "1");
    CaptureStdout();
    EXPECT_FALSE(rootless.saveRegister(0));
    EXPECT_EQ(GetCapturedStdout(), "PMEM Error! Can't save file \"\"\n");
}

TEST_F(PmemStorageTextTest, SaveReplacesTheFileWholeInsteadOfRewritingItInPlace)
{
    const std::string old = line1("Old") + "version-0\nA 1\n";
    writeRegister(1, 5, old);
    const fs::path keep = dir.path() / "keep";
    fs::create_hard_link(registerFile(1, 5), keep);
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.setRegisterValue("B", "2");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(keep), old);
    EXPECT_EQ(readBytes(registerFile(1, 5)), line1("Old") + "version-0\nA 1\nB 2\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(registerFile(1, 5).parent_path()), fs::directory_iterator()), 1);
}

TEST_F(PmemStorageTextTest, SaveMakesTheMissingDirectories)
{
    ASSERT_TRUE(storage.loadRegister(4, 12, 0));
    storage.setRegisterValue("A", "1");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_TRUE(fs::exists(registerFile(4, 12)));
}

TEST_F(PmemStorageTextTest, DeleteRemovesTheFileAndKeepsTheHeldValues)
{
    writeRegister(1, 5, line1("R") + "version-0\nA 1\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_TRUE(storage.deleteRegister(1, 5));
    EXPECT_FALSE(fs::exists(registerFile(1, 5)));
    EXPECT_FALSE(storage.registerIsValid(1, 5));
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("A", value));
}

TEST_F(PmemStorageTextTest, RegisterIsValidWhenItsFileOpensEvenIfEmpty)
{
    EXPECT_FALSE(storage.registerIsValid(1, 5));
    writeRegister(1, 5, "");
    EXPECT_TRUE(storage.registerIsValid(1, 5));
    EXPECT_FALSE(storage.registerIsValid(-1, 5));
    EXPECT_FALSE(storage.registerIsValid(1, -5));
}

TEST_F(PmemStorageTextTest, NameOfAnEmptyFileLeavesTheOutputAsItWas)
{
    writeRegister(1, 5, "");
    std::string name = "before";
    EXPECT_TRUE(storage.getRegisterName(1, 5, name));
    EXPECT_EQ(name, "before");
}

TEST_F(PmemStorageTextTest, HeldRegisterNameNeedsValues)
{
    storage.loadRegister(1, 5, 0);
    EXPECT_FALSE(storage.setRegisterName("N"));
    storage.setRegisterValue("A", "1");
    EXPECT_TRUE(storage.setRegisterName("N"));
    std::string name;
    EXPECT_TRUE(storage.getRegisterName(name));
    EXPECT_EQ(name, "N");
}

TEST_F(PmemStorageTextTest, RenameRewritesLineOneInPlaceAndTracesThePath)
{
    writeRegister(2, 9, line1("Before") + "version-1\nA 1\n");
    const fs::path keep = dir.path() / "keep";
    fs::create_hard_link(registerFile(2, 9), keep);
    CaptureStdout();
    EXPECT_TRUE(storage.setRegisterName(2, 9, "After"));
    EXPECT_EQ(GetCapturedStdout(), registerFile(2, 9).string());
    EXPECT_EQ(readBytes(registerFile(2, 9)), line1("After") + "version-1\nA 1\n");
    EXPECT_EQ(readBytes(keep), line1("After") + "version-1\nA 1\n");
}

TEST_F(PmemStorageTextTest, RenameOfAMissingRegisterFailsAndCreatesNoFile)
{
    CaptureStdout();
    EXPECT_FALSE(storage.setRegisterName(3, 9, "New"));
    EXPECT_EQ(GetCapturedStdout(), registerFile(3, 9).string());
    EXPECT_FALSE(fs::exists(registerFile(3, 9)));
    EXPECT_FALSE(storage.setRegisterName(-1, 9, "New"));
}

TEST_F(PmemStorageTextTest, RenameOfANamedPipeOrFolderInARegistersPlaceIsRefusedWithoutWaiting)
{
    fs::create_directories(registerFile(1, 4).parent_path());
    ASSERT_EQ(::mkfifo(registerFile(1, 4).c_str(), 0600), 0);
    fs::create_directories(registerFile(1, 5));
    for (int reg : {4, 5}) {
        CaptureStdout();
        EXPECT_FALSE(storage.setRegisterName(1, reg, "New"));
        EXPECT_EQ(GetCapturedStdout(), registerFile(1, reg).string() + "\nPMEM Error! Refused file \"" +
                                           registerFile(1, reg).string() + "\": not a regular file\n");
    }
    EXPECT_TRUE(fs::is_fifo(registerFile(1, 4)));
    EXPECT_TRUE(fs::is_directory(registerFile(1, 5)));
}

TEST_F(PmemStorageTextTest, RenameOverAShortFirstLineOverwritesTheFollowingLines)
{
    const std::string old = "R\nversion-0\nA 1\nB 2\nCCCCCCCCCCCCCCCCCCCCCCCCCCC 3\n";
    writeRegister(1, 5, old);
    CaptureStdout();
    EXPECT_TRUE(storage.setRegisterName(1, 5, "New"));
    GetCapturedStdout();
    EXPECT_EQ(readBytes(registerFile(1, 5)), line1("New") + "CCCCCCCCCCCCCCCC 3\n");
    EXPECT_EQ(old.substr(31), "CCCCCCCCCCCCCCCC 3\n");
}

TEST_F(PmemStorageTextTest, RenameDoesNotTouchTheHeldRegister)
{
    writeRegister(1, 5, line1("Old") + "version-0\nA 1\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    CaptureStdout();
    storage.setRegisterName(1, 5, "New");
    GetCapturedStdout();
    std::string name;
    storage.getRegisterName(name);
    EXPECT_EQ(name, "Old");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 5)), line1("Old") + "version-0\nA 1\n");
}

TEST_F(PmemStorageTextTest, GetRegisterValueOfAnAbsentKeyLeavesTheOutput)
{
    storage.loadRegister(1, 5, 0);
    std::string value = "same";
    EXPECT_FALSE(storage.getRegisterValue("NOPE", value));
    EXPECT_EQ(value, "same");
}

TEST_F(PmemStorageTextTest, AnswersItsInterfaceId)
{
    EXPECT_EQ(storage.queryInterface(1108), static_cast<IInterface*>(&storage));
    EXPECT_EQ(storage.queryInterface(1107), nullptr);
}

TEST_F(PmemStorageTextTest, DamagedFileLoadsAsFarAsItParses)
{
    using namespace std::string_literals;
    std::string bytes = "\x01\x02\x00\xff name\nversion-\nA\x00 1\n\tB\t2\r\n"s;
    bytes += std::string(1200, 'x');
    bytes += "\nC 3";
    writeRegister(1, 5, bytes);
    ASSERT_TRUE(storage.loadRegister(1, 5, 2));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("B", value));
    EXPECT_EQ(value, "2");
    EXPECT_TRUE(storage.getRegisterValue("C", value));
    EXPECT_EQ(value, "3");
}

TEST_F(PmemStorageTextTest, HugeVersionNumberIsHarmless)
{
    writeRegister(1, 5, line1("R") + "version-99999999999999999999999\nA UTIL1\n");
    ASSERT_TRUE(storage.loadRegister(1, 5, 1));
    std::string value;
    EXPECT_TRUE(storage.getRegisterValue("A", value));
    EXPECT_EQ(value, "UTIL1");
}

// ---- what stands at a register's path -----------------------------------------------------

TEST_F(PmemStorageTextTest, NamedPipeInPlaceOfTheFileLoadsAsNoFileWithItsLine)
{
    fs::create_directories(registerFile(1, 7).parent_path());
    ASSERT_EQ(::mkfifo(registerFile(1, 7).c_str(), 0600), 0);
    CaptureStdout();
    const bool loaded = storage.loadRegister(1, 7, 0);
    std::string name = "untouched";
    const bool named = storage.getRegisterName(1, 7, name);
    const std::string out = GetCapturedStdout();
    EXPECT_TRUE(loaded);
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_FALSE(named);
    EXPECT_EQ(name, "untouched");
    const std::string line = "PMEM Error! Refused file \"" + registerFile(1, 7).string() + "\": not a regular file\n";
    EXPECT_EQ(out, line + line);
    // As without a file, the default name is held: a save writes it over the pipe.
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 7)), line1("pmem7") + "version-0\n");
}

TEST_F(PmemStorageTextTest, FolderOrLinkLoopInPlaceOfTheFileIsNoValidRegister)
{
    fs::create_directories(registerFile(1, 8));
    fs::create_symlink(registerFile(1, 9), registerFile(1, 9));
    CaptureStdout();
    const bool folderValid = storage.registerIsValid(1, 8);
    const bool loopValid = storage.registerIsValid(1, 9);
    const std::string out = GetCapturedStdout();
    EXPECT_FALSE(folderValid);
    EXPECT_FALSE(loopValid);
    EXPECT_EQ(out, "PMEM Error! Refused file \"" + registerFile(1, 8).string() + "\": not a regular file\n"
                   "PMEM Error! Refused file \"" + registerFile(1, 9).string() + "\": symbolic link loop\n");
}

TEST_F(PmemStorageTextTest, LinesReadFromMemoryKeepNulBytesAndLongLinesAsAStreamDoes)
{
    // "A\0 1" holds one word before the NUL, so it is no pair; a line of 600
    // bytes is read as a line of 499 and the rest.
    const std::string longKey(497, 'K');
    writeRegister(1, 6, std::string("Six\nversion-2\nA\0 1\nB 2\n", 23) + longKey + " 1V 3\nC 4");
    ASSERT_TRUE(storage.loadRegister(1, 6, 2));
    std::string value;
    EXPECT_FALSE(storage.getRegisterValue("A", value));
    EXPECT_TRUE(storage.getRegisterValue("B", value));
    EXPECT_EQ(value, "2");
    EXPECT_TRUE(storage.getRegisterValue(longKey, value));
    EXPECT_EQ(value, "1");
    EXPECT_TRUE(storage.getRegisterValue("V", value));
    EXPECT_EQ(value, "3");
    EXPECT_TRUE(storage.getRegisterValue("C", value));
    EXPECT_EQ(value, "4");
}
