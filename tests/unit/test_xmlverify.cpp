// XML file signatures: round trip, tamper detection, TinyXML still reads the file.

#include <gtest/gtest.h>

#include <openssl/evp.h>
#include <tinyxml.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "panelsys/XMLVerify.h"

namespace fs = std::filesystem;

namespace {

const char kMacro[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
    "<!-- macro file -->\n"
    "<Macro name=\"Intro\" version=\"1\">\n"
    "    <FID name=\"PANEL.SETVAR\" delay=\"0\" />\n"
    "</Macro>\n";

class XMLVerifyTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "xmlverify-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
        m_file = m_dir / "macro1.mac";
    }
    void TearDown() override
    {
        std::error_code error;
        fs::remove_all(m_dir, error);
    }
    void write(const std::string& content) { std::ofstream(m_file, std::ios::binary) << content; }
    std::string read()
    {
        std::ifstream in(m_file, std::ios::binary);
        std::ostringstream out;
        out << in.rdbuf();
        return out.str();
    }
    oskit::Path path() const { return oskit::Path(m_file.string()); }
    fs::path m_dir;
    fs::path m_file;
    XMLVerify m_verify;
};

std::string sha256Hex(const std::string& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
    std::ostringstream hex;
    for (unsigned int i = 0; i < length; ++i) {
        static const char digits[] = "0123456789abcdef";
        hex << digits[digest[i] >> 4] << digits[digest[i] & 0x0F];
    }
    return hex.str();
}

} // namespace

TEST_F(XMLVerifyTest, SignedFileVerifies)
{
    write(kMacro);
    m_verify.insertSignature(path());
    EXPECT_TRUE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, SignatureIsHashOfBytesWithoutAttribute)
{
    write(kMacro);
    m_verify.insertSignature(path());
    const std::string expected = std::string(kMacro).insert(
        std::string(kMacro).find("<Macro") + 6, " signature=\"" + sha256Hex(kMacro) + "\"");
    EXPECT_EQ(read(), expected);
}

TEST_F(XMLVerifyTest, SignedFileStaysLoadableByTinyXml)
{
    write(kMacro);
    m_verify.insertSignature(path());
    TiXmlDocument document(m_file.string().c_str());
    ASSERT_TRUE(document.LoadFile());
    const TiXmlElement* root = document.RootElement();
    ASSERT_NE(root, nullptr);
    EXPECT_STREQ(root->Value(), "Macro");
    EXPECT_STREQ(root->Attribute("name"), "Intro");
    ASSERT_NE(root->Attribute("signature"), nullptr);
    EXPECT_EQ(std::string(root->Attribute("signature")).size(), 64u);
    EXPECT_NE(root->FirstChildElement("FID"), nullptr);
}

TEST_F(XMLVerifyTest, SigningTwiceGivesSameFile)
{
    write(kMacro);
    m_verify.insertSignature(path());
    const std::string once = read();
    m_verify.insertSignature(path());
    EXPECT_EQ(read(), once);
    EXPECT_TRUE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, ChangedContentFailsVerification)
{
    write(kMacro);
    m_verify.insertSignature(path());
    std::string text = read();
    text.replace(text.find("Intro"), 5, "Intra");
    write(text);
    EXPECT_FALSE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, AppendedByteFailsVerification)
{
    write(kMacro);
    m_verify.insertSignature(path());
    write(read() + " ");
    EXPECT_FALSE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, ResignedAfterChangeVerifiesAgain)
{
    write(kMacro);
    m_verify.insertSignature(path());
    std::string text = read();
    text.replace(text.find("Intro"), 5, "Other");
    write(text);
    EXPECT_FALSE(m_verify.verifySignature(path()));
    m_verify.insertSignature(path());
    EXPECT_TRUE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, MissingSignatureFails)
{
    write(kMacro);
    EXPECT_FALSE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, ShortSignatureFails)
{
    std::string text = kMacro;
    text.insert(text.find("<Macro") + 6, " signature=\"" + sha256Hex(kMacro).substr(0, 63) + "\"");
    write(text);
    EXPECT_FALSE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, WrongSignatureFails)
{
    write(kMacro);
    m_verify.insertSignature(path());
    std::string text = read();
    const size_t digit = text.find("signature=\"") + 11;
    text[digit] = text[digit] == '0' ? '1' : '0';
    write(text);
    EXPECT_FALSE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, MissingFileFailsAndIsNotCreated)
{
    EXPECT_FALSE(m_verify.verifySignature(path()));
    m_verify.insertSignature(path());
    EXPECT_FALSE(fs::exists(m_file));
}

TEST_F(XMLVerifyTest, TextWithoutElementIsLeftAlone)
{
    write("just text, no markup");
    m_verify.insertSignature(path());
    EXPECT_EQ(read(), "just text, no markup");
    EXPECT_FALSE(m_verify.verifySignature(path()));
}

TEST_F(XMLVerifyTest, SelfClosingRootAndNoDeclaration)
{
    write("<Workplaces/>");
    m_verify.insertSignature(path());
    EXPECT_TRUE(m_verify.verifySignature(path()));
    EXPECT_EQ(read(), "<Workplaces signature=\"" + sha256Hex("<Workplaces/>") + "\"/>");
}

TEST_F(XMLVerifyTest, NoTemporaryFileLeftBehind)
{
    write(kMacro);
    m_verify.insertSignature(path());
    int files = 0;
    for (const auto& entry : fs::directory_iterator(m_dir)) {
        (void)entry;
        ++files;
    }
    EXPECT_EQ(files, 1);
}

TEST_F(XMLVerifyTest, BytesAlreadyReadVerifyAsTheFileDoes)
{
    write(kMacro);
    m_verify.insertSignature(path());
    const std::string signedBytes = read();
    EXPECT_TRUE(m_verify.verifySignatureOfBytes(signedBytes));

    std::string changed = signedBytes;
    changed.replace(changed.find("Intro"), 5, "Outro");
    EXPECT_FALSE(m_verify.verifySignatureOfBytes(changed));
    write(changed);
    EXPECT_FALSE(m_verify.verifySignature(path()));

    EXPECT_FALSE(m_verify.verifySignatureOfBytes(kMacro));
    EXPECT_FALSE(m_verify.verifySignatureOfBytes(""));
}
