// The input opener and the XML pre-check: what stands at a path, and what a
// file holds, before a loader or the XML library sees it.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "oskit/InputFile.h"
#include "support/xmltreedepth.h"
#include "panelsys/WholeFileWriter.h"
#include "panelsys/XMLInput.h"

namespace fs = std::filesystem;
using oskit::InputFile;

namespace {

class InputFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "inputfile-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
    }
    void TearDown() override
    {
        std::error_code error;
        fs::remove_all(m_dir, error);
    }
    std::string path(const std::string& name) const { return (m_dir / name).string(); }
    std::string write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(m_dir / name, std::ios::binary) << bytes;
        return path(name);
    }
    fs::path m_dir;
};

std::string nested(int depth, const std::string& tag = "a")
{
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<" + tag + ">";
    for (int i = 0; i < depth; ++i) text += "</" + tag + ">";
    return text;
}

using xmltest::treeDepth;

int libraryDepth(const std::string& text)
{
    TiXmlDocument document;
    document.Parse(text.c_str());
    return treeDepth(&document);
}

} // namespace

// ---- the opener -------------------------------------------------------------------------------

TEST_F(InputFileTest, ReadsARegularFileWhole)
{
    const std::string bytes = std::string("line 1\nline 2\r\n\x01\xff", 17);
    std::string read;
    EXPECT_EQ(InputFile::read(write("plain", bytes), read), InputFile::RESULT_OK);
    EXPECT_EQ(read, bytes);
}

TEST_F(InputFileTest, ReadsAnEmptyFileAsNoBytes)
{
    std::string read = "old";
    EXPECT_EQ(InputFile::read(write("empty", ""), read), InputFile::RESULT_OK);
    EXPECT_EQ(read, "");
}

TEST_F(InputFileTest, FollowsASymbolicLinkToARegularFile)
{
    write("target", "text");
    fs::create_symlink(path("target"), path("link"));
    std::string read;
    EXPECT_EQ(InputFile::read(path("link"), read), InputFile::RESULT_OK);
    EXPECT_EQ(read, "text");
}

TEST_F(InputFileTest, MissingFileIsMissingAndNoRefusal)
{
    std::string read;
    EXPECT_EQ(InputFile::read(path("none"), read), InputFile::RESULT_MISSING);
    EXPECT_EQ(InputFile::read(path("none/below"), read), InputFile::RESULT_MISSING);
    EXPECT_FALSE(InputFile::isRefusal(InputFile::RESULT_MISSING));
    EXPECT_FALSE(InputFile::isRefusal(InputFile::RESULT_UNREADABLE));
    EXPECT_FALSE(InputFile::isRefusal(InputFile::RESULT_OK));
}

TEST_F(InputFileTest, FolderIsRefused)
{
    fs::create_directory(path("folder"));
    std::string read;
    EXPECT_EQ(InputFile::read(path("folder"), read), InputFile::RESULT_NOT_REGULAR);
    EXPECT_TRUE(InputFile::isRefusal(InputFile::RESULT_NOT_REGULAR));
    EXPECT_EQ(InputFile::describe(InputFile::RESULT_NOT_REGULAR), "not a regular file");
}

TEST_F(InputFileTest, NamedPipeIsRefusedWithoutWaitingForAWriter)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    auto pending = std::async(std::launch::async, [this] {
        std::string read;
        return InputFile::read(path("pipe"), read);
    });
    if (pending.wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
        // Release the blocked reader before failing, so that the test ends.
        const int fd = ::open(path("pipe").c_str(), O_WRONLY | O_NONBLOCK);
        if (fd >= 0) ::close(fd);
        FAIL() << "reading a named pipe waited for a writer";
    }
    EXPECT_EQ(pending.get(), InputFile::RESULT_NOT_REGULAR);
}

TEST_F(InputFileTest, SymbolicLinkToANamedPipeIsRefused)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    fs::create_symlink(path("pipe"), path("link"));
    InputFile file(path("link"));
    EXPECT_EQ(file.result(), InputFile::RESULT_NOT_REGULAR);
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.descriptor(), -1);
}

TEST_F(InputFileTest, DeviceIsRefused)
{
    std::string read;
    EXPECT_EQ(InputFile::read("/dev/null", read), InputFile::RESULT_NOT_REGULAR);
    EXPECT_EQ(InputFile::read("/dev/zero", read), InputFile::RESULT_NOT_REGULAR);
}

TEST_F(InputFileTest, SymbolicLinkLoopIsRefused)
{
    fs::create_symlink(path("b"), path("a"));
    fs::create_symlink(path("a"), path("b"));
    std::string read;
    EXPECT_EQ(InputFile::read(path("a"), read), InputFile::RESULT_LINK_LOOP);
    EXPECT_TRUE(InputFile::isRefusal(InputFile::RESULT_LINK_LOOP));
    EXPECT_EQ(InputFile::describe(InputFile::RESULT_LINK_LOOP), "symbolic link loop");
}

TEST_F(InputFileTest, FileAboveTheCapIsRefusedAndOneAtItIsRead)
{
    const std::string big = path("big");
    write("big", "");
    ASSERT_EQ(::truncate(big.c_str(), static_cast<off_t>(InputFile::kMaxSize + 1)), 0);
    std::string read;
    EXPECT_EQ(InputFile::read(big, read), InputFile::RESULT_TOO_BIG);
    EXPECT_TRUE(read.empty());
    ASSERT_EQ(::truncate(big.c_str(), static_cast<off_t>(InputFile::kMaxSize)), 0);
    EXPECT_EQ(InputFile::read(big, read), InputFile::RESULT_OK);
    EXPECT_EQ(read.size(), InputFile::kMaxSize);
}

TEST_F(InputFileTest, DescriptorIsNonBlockingAndClosedOnExec)
{
    InputFile file(write("plain", "x"));
    ASSERT_TRUE(file.isOpen());
    EXPECT_NE(::fcntl(file.descriptor(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(file.descriptor(), F_GETFL) & O_NONBLOCK, 0);
    const int fd = file.descriptor();
    file.close();
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST_F(InputFileTest, ReadXmlRefusesWhatThePrecheckRefuses)
{
    std::string read;
    EXPECT_EQ(InputFile::readXml(write("ok.xml", "<a><b/></a>"), read), InputFile::RESULT_OK);
    EXPECT_EQ(read, "<a><b/></a>");
    EXPECT_EQ(InputFile::readXml(write("deep.xml", nested(65)), read), InputFile::RESULT_XML_TOO_DEEP);
    EXPECT_TRUE(read.empty());
    fs::create_directory(path("folder.xml"));
    EXPECT_EQ(InputFile::readXml(path("folder.xml"), read), InputFile::RESULT_NOT_REGULAR);
}

// ---- the XML pre-check ----------------------------------------------------------------------

TEST(XmlPrecheck, PlainFilesPass)
{
    EXPECT_EQ(InputFile::checkXml(""), InputFile::RESULT_OK);
    EXPECT_EQ(InputFile::checkXml("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<macro name=\"M\xc3\xa4\xe2\x82\xac"
                                  "\xf0\x9f\x98\x80\"><configuration /><data><cmd fid=\"A\"><param name=\"x\" "
                                  "value=\"1\" /></cmd></data></macro>\n"),
              InputFile::RESULT_OK);
    EXPECT_EQ(InputFile::checkXml("\xef\xbb\xbf<a/>"), InputFile::RESULT_OK);
}

TEST(XmlPrecheck, NulByteIsRefused)
{
    EXPECT_EQ(InputFile::checkXml(std::string("<a>\0</a>", 8)), InputFile::RESULT_XML_NUL);
    EXPECT_EQ(InputFile::checkXml(std::string("<a></a>\0", 8)), InputFile::RESULT_XML_NUL);
    EXPECT_EQ(InputFile::describe(InputFile::RESULT_XML_NUL), "NUL byte");
}

TEST(XmlPrecheck, MalformedUtf8IsRefused)
{
    for (const char* bad : {"<a>\x80</a>", "<a>\xc0\x80</a>", "<a>\xc1\xbf</a>", "<a>\xe0\x80\x80</a>",
                            "<a>\xed\xa0\x80</a>", "<a>\xf4\x90\x80\x80</a>", "<a>\xf5\x80\x80\x80</a>",
                            "<a>\xff</a>", "<a>\xe2\x82<</a>", "<a x=\"\xc3\">", "<a>\xef\xbb\xbf</a>",
                            "<a>\xef\xbf\xbe</a>", "<a>\xef\xbf\xbf</a>"})
        EXPECT_EQ(InputFile::checkXml(bad), InputFile::RESULT_XML_BAD_UTF8) << bad;
    EXPECT_EQ(InputFile::describe(InputFile::RESULT_XML_BAD_UTF8), "malformed UTF-8");
}

TEST(XmlPrecheck, SequenceCutAtTheEndIsRefused)
{
    for (const char* cut : {"<a x=\"P\xd5", "<a>\xe2\x82", "<a>\xe2", "<a>\xf0\x9f\x98", "\xf0"})
        EXPECT_EQ(InputFile::checkXml(cut), InputFile::RESULT_XML_CUT_UTF8) << cut;
    EXPECT_EQ(InputFile::describe(InputFile::RESULT_XML_CUT_UTF8), "UTF-8 sequence cut at the end");
}

// A name or value that goes into an XML file: what the pre-check would refuse
// in the file is refused in the text, and a byte order mark that would open a
// file is no more than a character inside a text.
TEST(XmlPrecheck, TextCheckTakesWellFormedUtf8WithoutNul)
{
    for (const char* good : {"", "M001", "Name \xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "\x01\x09\x0a\x0d\x1f\x7f",
                             "&amp; <tag> \"'", "\xef\xbf\xbd", "\xf4\x8f\xbf\xbf"})
        EXPECT_EQ(InputFile::checkText(good), InputFile::RESULT_OK) << good;
    for (const char* bad : {"\xff\xfe", "\x80", "a\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xef\xbb\xbfM",
                            "M\xef\xbb\xbf", "\xef\xbf\xbe", "\xef\xbf\xbf", "\xe2\x82x"})
        EXPECT_EQ(InputFile::checkText(bad), InputFile::RESULT_XML_BAD_UTF8) << bad;
    for (const char* cut : {"ab\xc3", "\xe2\x82", "\xf0\x9f\x98"})
        EXPECT_EQ(InputFile::checkText(cut), InputFile::RESULT_XML_CUT_UTF8) << cut;
    EXPECT_EQ(InputFile::checkText(std::string("a\0b", 3)), InputFile::RESULT_XML_NUL);
}

// Every text the check takes, written into an attribute as TinyXML writes it,
// makes a file that the pre-check takes and that reads back to the same text;
// every text it refuses would make a file the pre-check refuses, or (NUL) one
// that reads back cut.
TEST(XmlPrecheck, TextCheckAgreesWithTheFileTinyXmlWrites)
{
    std::vector<std::string> texts = {"", "plain", "\xc3\xa4\xe2\x82\xac", "\xef\xbb\xbf" "abc", "a\xef\xbb\xbf",
                                      "\xef\xbf\xbe", "\xff\xfe", "ab\xc3", "\xc3", "&#x41;", "&#x\" a=\"1",
                                      "]]>", "'\"", " lead  trail ", "\xc2\x85\xe2\x80\xa8", std::string("a\0b", 3)};
    for (int c = 1; c < 0x80; ++c) texts.push_back(std::string("a") + static_cast<char>(c) + "b");
    for (int c = 0x80; c < 0x100; ++c) texts.push_back(std::string("a") + static_cast<char>(c) + "b");
    for (const std::string& text : texts) {
        TiXmlDocument document;
        auto* root = new TiXmlElement("macro");
        root->SetAttribute(std::string("name"), text);
        root->LinkEndChild(new TiXmlElement("configuration"));
        document.LinkEndChild(root);
        const std::optional<std::string> bytes = WholeFileWriter::documentBytes(document);
        ASSERT_TRUE(bytes);
        const bool fileTaken = InputFile::checkXml(*bytes) == InputFile::RESULT_OK;
        TiXmlDocument back;
        const bool parsed = fileTaken && XMLInput::parse(back, *bytes);
        const char* name = parsed && back.FirstChildElement() ? back.FirstChildElement()->Attribute("name") : nullptr;
        const bool same = name && text == name && back.FirstChildElement()->FirstChildElement("configuration");
        EXPECT_EQ(InputFile::checkText(text) == InputFile::RESULT_OK, same) << "[" << text << "] " << *bytes;
    }
}

TEST(XmlPrecheck, NestingUpToTheCapPassesAndOneMoreIsRefused)
{
    EXPECT_EQ(InputFile::checkXml(nested(InputFile::kMaxXmlDepth)), InputFile::RESULT_OK);
    EXPECT_EQ(InputFile::checkXml(nested(InputFile::kMaxXmlDepth + 1)), InputFile::RESULT_XML_TOO_DEEP);
    EXPECT_EQ(InputFile::checkXml(nested(40000)), InputFile::RESULT_XML_TOO_DEEP);
    EXPECT_EQ(InputFile::checkXml(nested(3), 2), InputFile::RESULT_XML_TOO_DEEP);
    EXPECT_EQ(InputFile::checkXml(nested(2), 2), InputFile::RESULT_OK);
    EXPECT_EQ(InputFile::checkXml("<a><b><c/></b></a>", 2), InputFile::RESULT_XML_TOO_DEEP);
    EXPECT_EQ(InputFile::describe(InputFile::RESULT_XML_TOO_DEEP), "elements nested deeper than 64 levels");
}

TEST(XmlPrecheck, SiblingsAndEmptyElementsDoNotNest)
{
    std::string siblings = "<r>";
    for (int i = 0; i < 10000; ++i) siblings += "<a x=\"1\"/><b></b>";
    siblings += "</r>";
    EXPECT_EQ(InputFile::xmlNestingDepth(siblings, 100), 2);
    EXPECT_EQ(InputFile::checkXml(siblings), InputFile::RESULT_OK);
}

TEST(XmlPrecheck, UnclosedElementsCountAsNested)
{
    std::string open;
    for (int i = 0; i < 100; ++i) open += "<a>";
    EXPECT_EQ(InputFile::checkXml(open), InputFile::RESULT_XML_TOO_DEEP);
    EXPECT_EQ(InputFile::xmlNestingDepth("<a><b><c>", 100), 3);
}

TEST(XmlPrecheck, EndTagsHiddenFromTheLibraryDoNotCloseAnything)
{
    // Each of these holds a "</a>" that the library reads as text, a value,
    // a comment or part of a declaration, so the elements around stay open.
    const std::string hidden[] = {
        "<a x=\"></a>\">",         "<a x='></a>'>",           "<a><!-- </a> -->",
        "<a><![CDATA[ </a> ]]>",     "<a><?xml version=\"></a>\"?>", "<a><?xml encoding='></a>'?>",
        "<a><?XML STANDALONE=\"></a>\"?>",
    };
    for (const std::string& inner : hidden) {
        std::string text;
        for (int i = 0; i < 3; ++i) text += inner;
        EXPECT_GE(InputFile::xmlNestingDepth(text, 100), libraryDepth(text)) << text;
        EXPECT_GE(InputFile::xmlNestingDepth(text, 100), 3) << text;
    }
}

TEST(XmlPrecheck, CountNeverFallsBelowTheLibrarysTree)
{
    const std::string cases[] = {
        "<a><b><c/></b><d><e><f></f></e></d></a>",
        "<?xml version=\"1.0\"?><!DOCTYPE x><a><b>",
        "<?xml x=\"></a>\" ?><a><b><c></c></b></a>",
        "<a><!foo></a><b><c>",
        "</a><a><b>",
        "<a><?pi </a>?><b><c>",
        "<a b=c><d e=f/><g>",
        "<_a><\xc3\xa4><b></b></\xc3\xa4></_a>",
        "<a>text & more < <b>x</b></a>",
        "<a><!-- unterminated <b><c>",
        "<a><b></b ><c></c\n><d>",
        "<a/>",
        "<a><b/></a>",
        "<?xml l version=\"></a>\" encoding='UTF-6' vers\001<ion=\"><nz/></a></a></r>\n",
    };
    for (const std::string& text : cases)
        EXPECT_GE(InputFile::xmlNestingDepth(text, 100), libraryDepth(text)) << text;
    EXPECT_EQ(libraryDepth("<a><b><c/></b><d><e><f></f></e></d></a>"), 4);
    EXPECT_EQ(InputFile::xmlNestingDepth("<a><b><c/></b><d><e><f></f></e></d></a>", 100), 4);
}

// ---- feeding the XML library ------------------------------------------------------------------

TEST_F(InputFileTest, ParseFromMemoryReportsTheRowsALoadReports)
{
    const std::string bytes = "<?xml version=\"1.0\"?>\r\n<root>\r\r\n  <a>\r  <b x=1 y=\"2\">\n</root>\n";
    const std::string file = write("bad.xml", bytes);
    TiXmlDocument loaded;
    EXPECT_FALSE(loaded.LoadFile(file.c_str()));
    TiXmlDocument parsed;
    EXPECT_FALSE(XMLInput::load(parsed, file));
    EXPECT_TRUE(parsed.Error());
    EXPECT_EQ(parsed.ErrorId(), loaded.ErrorId());
    EXPECT_EQ(parsed.ErrorRow(), loaded.ErrorRow());
    EXPECT_EQ(parsed.ErrorCol(), loaded.ErrorCol());
    EXPECT_GT(parsed.ErrorRow(), 1);
}

TEST_F(InputFileTest, ParseFromMemoryBuildsTheTreeALoadBuilds)
{
    const std::string bytes = "<?xml version=\"1.0\"?>\r\n<r a=\"1\">\r\n <x>t\ru</x><y/>\n</r>\n";
    const std::string file = write("good.xml", bytes);
    TiXmlDocument loaded;
    ASSERT_TRUE(loaded.LoadFile(file.c_str()));
    TiXmlDocument parsed;
    parsed.LinkEndChild(new TiXmlElement("old"));
    oskit::InputFile::EResult why = InputFile::RESULT_MISSING;
    ASSERT_TRUE(XMLInput::load(parsed, file, TIXML_DEFAULT_ENCODING, &why));
    EXPECT_EQ(why, InputFile::RESULT_OK);
    TiXmlPrinter a;
    TiXmlPrinter b;
    loaded.Accept(&a);
    parsed.Accept(&b);
    EXPECT_EQ(b.Str(), a.Str());
    EXPECT_EQ(parsed.FirstChildElement()->ValueStr(), "r");
}

TEST_F(InputFileTest, EmptyFileFailsAsALoadFails)
{
    const std::string file = write("empty.xml", "");
    TiXmlDocument loaded;
    EXPECT_FALSE(loaded.LoadFile(file.c_str()));
    TiXmlDocument parsed;
    EXPECT_FALSE(XMLInput::load(parsed, file));
    EXPECT_EQ(parsed.ErrorId(), loaded.ErrorId());
}

TEST_F(InputFileTest, RefusedFileLeavesTheDocumentAsItWas)
{
    TiXmlDocument document;
    document.LinkEndChild(new TiXmlElement("kept"));
    oskit::InputFile::EResult why = InputFile::RESULT_OK;
    EXPECT_FALSE(XMLInput::load(document, write("deep.xml", nested(100)), TIXML_DEFAULT_ENCODING, &why));
    EXPECT_EQ(why, InputFile::RESULT_XML_TOO_DEEP);
    ASSERT_NE(document.FirstChildElement(), nullptr);
    EXPECT_EQ(document.FirstChildElement()->ValueStr(), "kept");
    EXPECT_FALSE(document.Error());

    ASSERT_EQ(::mkfifo(path("pipe.xml").c_str(), 0600), 0);
    EXPECT_FALSE(XMLInput::load(document, path("pipe.xml"), TIXML_DEFAULT_ENCODING, &why));
    EXPECT_EQ(why, InputFile::RESULT_NOT_REGULAR);
    EXPECT_EQ(document.FirstChildElement()->ValueStr(), "kept");
}
