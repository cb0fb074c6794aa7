#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "pmemfileparserxml.h"
#include "pmemstoragexml.h"
#include "support/moduletestenv.h"

namespace fs = std::filesystem;

namespace {

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

const std::string kEmptyRegister = "<register name=\"\" />\n";

class PmemStorageXmlTest : public ::testing::Test {
protected:
    fs::path registerFile(int wp, int reg) const
    {
        return dir.path() / "pmem" / ("workplace" + std::to_string(wp)) / (std::to_string(reg) + ".pmem");
    }

    testenv::TempDir dir;
    PmemStorageXml storage{dir.str()};
};

} // namespace

TEST_F(PmemStorageXmlTest, LoadOfARegisterWithoutFileMakesTheEmptyFile)
{
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_EQ(readBytes(registerFile(1, 5)), kEmptyRegister);
}

TEST_F(PmemStorageXmlTest, SavedValuesAreDataElementsWithNameBeforeValue)
{
    ASSERT_TRUE(storage.loadRegister(2, 7, 0));
    storage.setRegisterValue("B KEY", "two words");
    storage.setRegisterValue("A", "<&>");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(2, 7)),
              "<register name=\"\">\n"
              "    <data name=\"A\" value=\"&lt;&amp;&gt;\" />\n"
              "    <data name=\"B KEY\" value=\"two words\" />\n"
              "</register>\n");
    PmemStorageXml reader(dir.str());
    ASSERT_TRUE(reader.loadRegister(2, 7, 0));
    EXPECT_EQ(reader.getRegisterValues(),
              (std::map<std::string, std::string>{{"A", "<&>"}, {"B KEY", "two words"}}));
}

TEST_F(PmemStorageXmlTest, WorkplaceZeroAndRegisterZeroUseAnOrdinaryFile)
{
    ASSERT_TRUE(storage.loadRegister(0, 0, 0));
    EXPECT_EQ(readBytes(registerFile(0, 0)), kEmptyRegister);
    EXPECT_FALSE(fs::exists(dir.path() / "pmem" / "default.pmem"));
    EXPECT_FALSE(storage.loadRegister(-1, 0, 0));
    EXPECT_FALSE(storage.loadRegister(0, -1, 0));
}

TEST_F(PmemStorageXmlTest, FileThatIsNotWellFormedIsReplacedByAnEmptyRegister)
{
    testenv::writeFile(registerFile(1, 5), "<register name=\"\"><data name=\"A\" value=\"1\"></register");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_EQ(readBytes(registerFile(1, 5)), kEmptyRegister);
}

TEST_F(PmemStorageXmlTest, LoadingTwiceReadsTheFileAgainAndUnsavedValuesAreLost)
{
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.setRegisterValue("A", "1");
    testenv::writeFile(registerFile(1, 5), "<register name=\"\"><data name=\"B\" value=\"2\"/></register>");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_EQ(storage.getRegisterValues(), (std::map<std::string, std::string>{{"B", "2"}}));
}

TEST_F(PmemStorageXmlTest, SetValueChangesTheMatchingElementOnlyAndAppendsNewKeys)
{
    testenv::writeFile(registerFile(1, 5), "<register name=\"\"><data name=\"A\" value=\"1\"/>"
                                           "<data name=\"B\" value=\"2\"/></register>");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.setRegisterValue("B", "20");
    storage.setRegisterValue("C", "3");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 5)),
              "<register name=\"\">\n"
              "    <data name=\"A\" value=\"1\" />\n"
              "    <data name=\"B\" value=\"20\" />\n"
              "    <data name=\"C\" value=\"3\" />\n"
              "</register>\n");
}

TEST_F(PmemStorageXmlTest, KeysRemovedFromTheMapStayInTheFile)
{
    testenv::writeFile(registerFile(1, 5), "<register name=\"\"><data name=\"A\" value=\"1\"/></register>");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.getRegisterValues().clear();
    ASSERT_TRUE(storage.saveRegister(0));
    PmemStorageXml reader(dir.str());
    ASSERT_TRUE(reader.loadRegister(1, 5, 0));
    EXPECT_EQ(reader.getRegisterValues().count("A"), 1u);
}

TEST_F(PmemStorageXmlTest, GetRegisterValueOfAnAbsentKeyAnswersEmptyAndInsertsIt)
{
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    std::string value = "before";
    EXPECT_TRUE(storage.getRegisterValue("NOPE", value));
    EXPECT_EQ(value, "");
    EXPECT_FALSE(storage.registerIsEmpty());
}

TEST_F(PmemStorageXmlTest, ReducedOperationsAnswerFixedResults)
{
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_FALSE(storage.registerIsValid(1, 5));
    EXPECT_TRUE(storage.deleteRegister(1, 5));
    EXPECT_TRUE(fs::exists(registerFile(1, 5)));
    std::string name = "untouched";
    EXPECT_FALSE(storage.getRegisterName(1, 5, name));
    EXPECT_EQ(name, "untouched");
    EXPECT_FALSE(storage.setRegisterName(1, 5, "New"));
    EXPECT_EQ(readBytes(registerFile(1, 5)), kEmptyRegister);
}

TEST_F(PmemStorageXmlTest, NameLivesInMemoryOnly)
{
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    std::string name;
    EXPECT_FALSE(storage.setRegisterName("N"));
    storage.setRegisterValue("A", "1");
    EXPECT_TRUE(storage.setRegisterName("N"));
    EXPECT_TRUE(storage.getRegisterName(name));
    EXPECT_EQ(name, "N");
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 5)).find("name=\"N\""), std::string::npos);
}

TEST_F(PmemStorageXmlTest, SaveBeforeAnyLoadFails) { EXPECT_FALSE(storage.saveRegister(0)); }

TEST_F(PmemStorageXmlTest, AnswersItsInterfaceId)
{
    EXPECT_EQ(storage.queryInterface(1108), static_cast<IInterface*>(&storage));
    EXPECT_EQ(storage.queryInterface(1), nullptr);
}

TEST_F(PmemStorageXmlTest, AnyChildOfTheRootCountsAsAnEntry)
{
    testenv::writeFile(registerFile(1, 5), "<register><other value=\"v\" name=\"k\" extra=\"x\"/>"
                                           "<!-- note --><data name=\"A\"/></register>");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_EQ(storage.getRegisterValues(), (std::map<std::string, std::string>{{"k", "v"}, {"", ""}, {"A", ""}}));
}

TEST_F(PmemStorageXmlTest, ValueInFrontOfNameDoesNotHangTheWrite)
{
    testenv::writeFile(registerFile(1, 5), "<register><data value=\"1\" name=\"A\"/>"
                                           "<data name=\"B\" value=\"2\"/></register>");
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    storage.getRegisterValues() = {{"A", "9"}};
    ASSERT_TRUE(storage.saveRegister(0));
    // The mark set at A passes the write on to the next element with a value.
    PmemStorageXml reader(dir.str());
    ASSERT_TRUE(reader.loadRegister(1, 5, 0));
    EXPECT_EQ(reader.getRegisterValues(), (std::map<std::string, std::string>{{"A", "1"}, {"B", "9"}}));
}

TEST_F(PmemStorageXmlTest, DeeplyNestedFileIsTreatedAsDamaged)
{
    std::string bytes = "<register>";
    for (int i = 0; i < 5000; ++i) bytes += "<a>";
    testenv::writeFile(registerFile(1, 5), bytes);
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_EQ(readBytes(registerFile(1, 5)), kEmptyRegister);
}

TEST_F(PmemStorageXmlTest, DirectoryInPlaceOfTheFileLoadsEmpty)
{
    fs::create_directories(registerFile(1, 5));
    EXPECT_TRUE(storage.loadRegister(1, 5, 0));
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_TRUE(fs::is_directory(registerFile(1, 5)));
}

TEST_F(PmemStorageXmlTest, NamedPipeInPlaceOfTheFileIsRefusedWithItsLineAndReplacedAsADamagedOne)
{
    fs::create_directories(registerFile(1, 5).parent_path());
    ASSERT_EQ(::mkfifo(registerFile(1, 5).c_str(), 0600), 0);
    testing::internal::CaptureStdout();
    const bool loaded = storage.loadRegister(1, 5, 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(loaded);
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_EQ(out, "PMEM Error! Refused file \"" + registerFile(1, 5).string() + "\": not a regular file\n");
    EXPECT_EQ(readBytes(registerFile(1, 5)), kEmptyRegister);
}

TEST_F(PmemStorageXmlTest, FortyThousandNestedElementsAreRefusedWithItsLine)
{
    std::string bytes = "<register>";
    for (int i = 0; i < 40000; ++i) bytes += "<a>";
    testenv::writeFile(registerFile(1, 5), bytes);
    testing::internal::CaptureStdout();
    const bool loaded = storage.loadRegister(1, 5, 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(loaded);
    EXPECT_TRUE(storage.registerIsEmpty());
    EXPECT_EQ(out, "PMEM Error! Refused file \"" + registerFile(1, 5).string() +
                       "\": elements nested deeper than 64 levels\n");
    EXPECT_EQ(readBytes(registerFile(1, 5)), kEmptyRegister);
}

TEST(PmemFileParserXml, OperationsWithoutADocument)
{
    PmemFileParserXml parser;
    std::string name;
    std::string value;
    EXPECT_FALSE(parser.save());
    EXPECT_FALSE(parser.unload());
    EXPECT_FALSE(parser.getName(name));
    EXPECT_FALSE(parser.getNextEntry(name, value));
    EXPECT_FALSE(parser.setValue("A", "1"));
    EXPECT_TRUE(parser.seekToBegin());
    parser.clear();
}

TEST(PmemFileParserXml, GetNameReadsTheRootAttribute)
{
    testenv::TempDir dir;
    const fs::path file = dir.path() / "r.pmem";
    testenv::writeFile(file, "<register name=\"Scene\"/>");
    PmemFileParserXml parser;
    ASSERT_TRUE(parser.load(file.string()));
    std::string name = "x";
    EXPECT_TRUE(parser.getName(name));
    EXPECT_EQ(name, "Scene");
    testenv::writeFile(file, "<register/>");
    ASSERT_TRUE(parser.load(file.string()));
    EXPECT_TRUE(parser.getName(name));
    EXPECT_EQ(name, "");
    EXPECT_TRUE(parser.unload());
    EXPECT_TRUE(parser.isLoaded());
}

TEST(PmemFileParserXml, FailedLoadKeepsThePathAndLeavesNothingLoaded)
{
    testenv::TempDir dir;
    PmemFileParserXml parser;
    const std::string path = (dir.path() / "missing.pmem").string();
    EXPECT_FALSE(parser.load(path));
    EXPECT_FALSE(parser.isLoaded());
    EXPECT_EQ(parser.fileName(), path);
    EXPECT_FALSE(parser.save());
}

// A key or value the register file could not keep is refused; the register
// saves without it and the file loads again.
TEST_F(PmemStorageXmlTest, KeyOrValueWithMalformedUtf8IsRefusedAndTheFileStays)
{
    ASSERT_TRUE(storage.loadRegister(1, 5, 0));
    ASSERT_TRUE(storage.setRegisterValue("A", "caf\xc3\xa9"));
    ASSERT_TRUE(storage.saveRegister(0));
    const std::string stored = readBytes(registerFile(1, 5));

    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(storage.setRegisterValue("A", "\xff\xfe"));
    EXPECT_FALSE(storage.setRegisterValue("B\xc3", "1"));
    EXPECT_FALSE(storage.setRegisterValue("C", std::string("x\0y", 3)));
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "PMEM Error! Refused register value: malformed UTF-8\n"
                       "PMEM Error! Refused register value: UTF-8 sequence cut at the end\n"
                       "PMEM Error! Refused register value: NUL byte\n");
    EXPECT_EQ(storage.getRegisterValues(), (std::map<std::string, std::string>{{"A", "caf\xc3\xa9"}}));
    ASSERT_TRUE(storage.saveRegister(0));
    EXPECT_EQ(readBytes(registerFile(1, 5)), stored);

    PmemStorageXml reader(dir.str());
    ASSERT_TRUE(reader.loadRegister(1, 5, 0));
    EXPECT_EQ(reader.getRegisterValues(), (std::map<std::string, std::string>{{"A", "caf\xc3\xa9"}}));
}
