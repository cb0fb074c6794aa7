// The whole-file writer: the bytes it leaves, signing, and what a failing step leaves.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "panelsys/WholeFileWriter.h"
#include "panelsys/XMLVerify.h"
#include "support/moduletestenv.h"

namespace fs = std::filesystem;
using EStep = WholeFileWriter::EStep;
using ESigning = WholeFileWriter::ESigning;

namespace {

class WholeFileWriterTest : public ::testing::Test {
protected:
    void TearDown() override { WholeFileWriter::failStepForTesting(EStep::kNone); }

    fs::path file(const std::string& name = "target.xml") const { return dir.path() / name; }
    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(dir.path())) found.push_back(entry.path().filename());
        std::sort(found.begin(), found.end());
        return found;
    }

    testenv::TempDir dir;
};

const std::string kDocument = "<?xml version=\"1.0\" ?>\n<root a=\"1\">\n    <child>text</child>\n</root>\n";

} // namespace

TEST_F(WholeFileWriterTest, NewFileHoldsExactlyTheBytesAndNothingElseIsLeft)
{
    const std::string bytes("line one\n\0binary\xff\n", 18);
    ASSERT_TRUE(WholeFileWriter::write(file("a.txt").string(), bytes));
    EXPECT_EQ(testenv::readFile(file("a.txt")), bytes);
    EXPECT_EQ(names(), std::vector<std::string>{"a.txt"});
}

TEST_F(WholeFileWriterTest, ExistingFileIsReplacedWhole)
{
    testenv::writeFile(file("a.txt"), std::string(4096, 'x'));
    ASSERT_TRUE(WholeFileWriter::write(file("a.txt").string(), "short\n"));
    EXPECT_EQ(testenv::readFile(file("a.txt")), "short\n");
}

TEST_F(WholeFileWriterTest, NewFileIsReadableByAllAndWritableByTheOwner)
{
    const mode_t old = ::umask(022);
    ASSERT_TRUE(WholeFileWriter::write(file("a.txt").string(), "x"));
    ::umask(old);
    struct stat info {};
    ASSERT_EQ(::stat(file("a.txt").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0644u);
}

TEST_F(WholeFileWriterTest, SignedFileCarriesAVerifiedSignatureOverTheBytes)
{
    ASSERT_TRUE(WholeFileWriter::write(file().string(), kDocument, ESigning::kSigned));
    const std::string written = testenv::readFile(file());
    EXPECT_EQ(written.rfind("<?xml version=\"1.0\" ?>\n<root signature=\"", 0), 0u) << written;
    EXPECT_TRUE(XMLVerify().verifySignature(oskit::Path(file().string())));
    EXPECT_EQ(names(), std::vector<std::string>{"target.xml"});
}

TEST_F(WholeFileWriterTest, SignedWriteOfTextWithoutRootElementFailsAndKeepsThePreviousFile)
{
    testenv::writeFile(file(), kDocument);
    EXPECT_FALSE(WholeFileWriter::write(file().string(), "no element here", ESigning::kSigned));
    EXPECT_EQ(testenv::readFile(file()), kDocument);
    EXPECT_EQ(names(), std::vector<std::string>{"target.xml"});
}

TEST_F(WholeFileWriterTest, DocumentBytesAreWhatTinyXmlSavesToAFile)
{
    TiXmlDocument document;
    document.Parse(kDocument.c_str());
    ASSERT_FALSE(document.Error());
    document.LinkEndChild(new TiXmlComment(" trailing & odd <text> "));
    ASSERT_TRUE(document.SaveFile(file("saved.xml").c_str()));
    ASSERT_TRUE(WholeFileWriter::writeDocument(file().string(), document));
    EXPECT_EQ(testenv::readFile(file()), testenv::readFile(file("saved.xml")));
}

// The last net: XML that the next load would refuse never replaces the file.
TEST_F(WholeFileWriterTest, XmlThatThePrecheckRefusesKeepsThePreviousFileByteForByte)
{
    const std::string previous = "<?xml version=\"1.0\" ?>\n<root a=\"\xc3\xa4\" />\n";
    std::string deep;
    for (int level = 0; level < 65; ++level) deep += "<a>";
    for (const ESigning signing : {ESigning::kUnsigned, ESigning::kSigned}) {
        for (const std::string& refused :
             {std::string("<root a=\"\xff\xfe\" />\n"), std::string("<root a=\"x\" />\n\xc3"),
              std::string("<root a=\"\xef\xbf\xbe\" />\n"), std::string("<root>\0</root>\n", 15), deep}) {
            testenv::writeFile(file(), previous);
            EXPECT_FALSE(WholeFileWriter::writeXml(file().string(), refused, signing)) << refused;
            EXPECT_EQ(testenv::readFile(file()), previous) << refused;
            EXPECT_EQ(names(), std::vector<std::string>{"target.xml"}) << refused;
        }
    }
}

TEST_F(WholeFileWriterTest, DocumentWithATextThePrecheckRefusesIsNotWritten)
{
    testenv::writeFile(file(), kDocument);
    TiXmlDocument document;
    auto* root = new TiXmlElement("macro");
    root->SetAttribute("name", "ab\xc3");
    document.LinkEndChild(root);
    EXPECT_FALSE(WholeFileWriter::writeDocument(file().string(), document, ESigning::kSigned));
    EXPECT_EQ(testenv::readFile(file()), kDocument);
    EXPECT_EQ(names(), std::vector<std::string>{"target.xml"});

    root->SetAttribute("name", "ab\xc3\xa4");
    EXPECT_TRUE(WholeFileWriter::writeDocument(file().string(), document, ESigning::kSigned));
    EXPECT_NE(testenv::readFile(file()).find("name=\"ab\xc3\xa4\""), std::string::npos);
}

// Plain bytes are not XML: the pre-check is not theirs.
TEST_F(WholeFileWriterTest, PlainWriteTakesAnyBytes)
{
    const std::string bytes("name \xff\xfe\xc3\n", 10);
    ASSERT_TRUE(WholeFileWriter::write(file("a.pmem").string(), bytes));
    EXPECT_EQ(testenv::readFile(file("a.pmem")), bytes);
}

TEST_F(WholeFileWriterTest, FileNameWithoutFolderIsWrittenInTheWorkingDirectory)
{
    const fs::path old = fs::current_path();
    fs::current_path(dir.path());
    const bool written = WholeFileWriter::write("plain.txt", "here\n");
    fs::current_path(old);
    EXPECT_TRUE(written);
    EXPECT_EQ(testenv::readFile(file("plain.txt")), "here\n");
}

TEST_F(WholeFileWriterTest, MissingFolderEmptyPathAndFolderAtThePathFail)
{
    EXPECT_FALSE(WholeFileWriter::write((dir.path() / "missing" / "a.txt").string(), "x"));
    EXPECT_FALSE(WholeFileWriter::write("", "x"));
    fs::create_directories(file("folder"));
    EXPECT_FALSE(WholeFileWriter::write(file("folder").string(), "x"));
    EXPECT_TRUE(fs::is_directory(file("folder")));
    EXPECT_EQ(names(), std::vector<std::string>{"folder"});
}

// Each step made to fail: the previous file stays and the temporary file goes;
// a failed sync of the folder comes after the rename.
TEST_F(WholeFileWriterTest, EachFailingStepLeavesThePreviousFileAndNoTemporary)
{
    testenv::writeFile(file(), "<old/>\n");
    for (EStep step : {EStep::kPrint, EStep::kCheck, EStep::kCreate, EStep::kWrite, EStep::kSync, EStep::kClose,
                       EStep::kSign, EStep::kVerify, EStep::kRename}) {
        WholeFileWriter::failStepForTesting(step);
        TiXmlDocument document;
        document.LinkEndChild(new TiXmlElement("new"));
        EXPECT_FALSE(WholeFileWriter::writeDocument(file().string(), document, ESigning::kSigned))
            << WholeFileWriter::stepName(step);
        EXPECT_EQ(testenv::readFile(file()), "<old/>\n") << WholeFileWriter::stepName(step);
        EXPECT_EQ(names(), std::vector<std::string>{"target.xml"}) << WholeFileWriter::stepName(step);
    }
    WholeFileWriter::failStepForTesting(EStep::kSyncDirectory);
    EXPECT_FALSE(WholeFileWriter::write(file().string(), "<new />\n", ESigning::kSigned));
    EXPECT_TRUE(XMLVerify().verifySignature(oskit::Path(file().string())));
    EXPECT_EQ(names(), std::vector<std::string>{"target.xml"});
    WholeFileWriter::failStepForTesting(EStep::kNone);
    EXPECT_TRUE(WholeFileWriter::write(file().string(), "<new />\n", ESigning::kSigned));
}

TEST(XMLVerifyInsert, ReportsAFileItCannotSign)
{
    testenv::TempDir dir;
    XMLVerify verify;
    EXPECT_FALSE(verify.insertSignature(oskit::Path((dir.path() / "missing.xml").string())));
    testenv::writeFile(dir.path() / "plain.txt", "no root");
    EXPECT_FALSE(verify.insertSignature(oskit::Path((dir.path() / "plain.txt").string())));
    EXPECT_EQ(testenv::readFile(dir.path() / "plain.txt"), "no root");
    testenv::writeFile(dir.path() / "good.xml", "<a/>");
    EXPECT_TRUE(verify.insertSignature(oskit::Path((dir.path() / "good.xml").string())));
}
