#include "panelsys/XMLVerify.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/evp.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "oskit/InputFile.h"

// The signature is the attribute signature="<64 lower-case hex digits>" on the
// root element. The signed bytes are the file's bytes with the attribute's
// text removed: the one blank before the name through the closing quote.
// insertSignature places it directly after the root element's name, so that
// removing it gives back exactly the bytes that were hashed.

namespace {

const char kAttribute[] = "signature";
constexpr size_t kDigestHexLength = 64;

struct RootTag {
    size_t nameEnd = 0; // index after the root element's name
    size_t tagEnd = 0;  // index of the '>' ending its start tag
};

struct SignatureAttribute {
    size_t begin = 0; // the blank before the name
    size_t end = 0;   // after the closing quote
    std::string value;
};

bool isNameChar(char c)
{
    const auto u = static_cast<unsigned char>(c);
    return std::isalnum(u) || c == '_' || c == '-' || c == '.' || c == ':' || u >= 0x80;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The start tag of the first element, past the declaration, comments,
// processing instructions and a document type.
std::optional<RootTag> findRootTag(const std::string& text)
{
    size_t pos = 0;
    while (true) {
        pos = text.find('<', pos);
        if (pos == std::string::npos || pos + 1 >= text.size()) return std::nullopt;
        if (text.compare(pos, 4, "<!--") == 0) {
            const size_t end = text.find("-->", pos + 4);
            if (end == std::string::npos) return std::nullopt;
            pos = end + 3;
        } else if (text[pos + 1] == '?') {
            const size_t end = text.find("?>", pos + 2);
            if (end == std::string::npos) return std::nullopt;
            pos = end + 2;
        } else if (text[pos + 1] == '!') {
            const size_t end = text.find('>', pos + 2);
            if (end == std::string::npos) return std::nullopt;
            pos = end + 1;
        } else if (isNameChar(text[pos + 1])) {
            break;
        } else {
            return std::nullopt;
        }
    }
    RootTag tag;
    size_t i = pos + 1;
    while (i < text.size() && isNameChar(text[i])) ++i;
    tag.nameEnd = i;
    char quote = 0;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (quote != 0) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            tag.tagEnd = i;
            return tag;
        }
    }
    return std::nullopt;
}

// The signature attribute among the root element's attributes.
std::optional<SignatureAttribute> findSignature(const std::string& text, const RootTag& tag)
{
    size_t i = tag.nameEnd;
    while (i < tag.tagEnd) {
        if (!isBlank(text[i])) return std::nullopt;
        while (i < tag.tagEnd && isBlank(text[i])) ++i;
        const size_t nameBegin = i;
        while (i < tag.tagEnd && isNameChar(text[i])) ++i;
        if (i == nameBegin) return std::nullopt; // "/>" or stray text
        const std::string name = text.substr(nameBegin, i - nameBegin);
        while (i < tag.tagEnd && isBlank(text[i])) ++i;
        if (i >= tag.tagEnd || text[i] != '=') return std::nullopt;
        ++i;
        while (i < tag.tagEnd && isBlank(text[i])) ++i;
        if (i >= tag.tagEnd || (text[i] != '"' && text[i] != '\'')) return std::nullopt;
        const char quote = text[i];
        const size_t valueBegin = i + 1;
        const size_t valueEnd = text.find(quote, valueBegin);
        if (valueEnd == std::string::npos || valueEnd > tag.tagEnd) return std::nullopt;
        i = valueEnd + 1;
        if (name == kAttribute) {
            SignatureAttribute attribute;
            attribute.begin = nameBegin - 1;
            attribute.end = i;
            attribute.value = text.substr(valueBegin, valueEnd - valueBegin);
            return attribute;
        }
    }
    return std::nullopt;
}

std::optional<std::string> readFile(const std::string& path)
{
    std::string text;
    if (oskit::InputFile::read(path, text) != oskit::InputFile::RESULT_OK) return std::nullopt;
    return text;
}

std::string sha256Hex(const std::string& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1) return "";
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(length * 2);
    for (unsigned int i = 0; i < length; ++i) {
        hex += digits[digest[i] >> 4];
        hex += digits[digest[i] & 0x0F];
    }
    return hex;
}

// Writes the whole file through a temporary file in the same directory.
bool replaceFile(const std::string& path, const std::string& bytes)
{
    std::vector<char> name(path.begin(), path.end());
    const char suffix[] = ".sigXXXXXX";
    name.insert(name.end(), suffix, suffix + sizeof suffix);
    const int fd = ::mkstemp(name.data());
    if (fd < 0) return false;
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0) ::fchmod(fd, info.st_mode & 07777);
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (n <= 0) {
            ::close(fd);
            ::unlink(name.data());
            return false;
        }
        written += static_cast<size_t>(n);
    }
    if (::fsync(fd) != 0 || ::close(fd) != 0) {
        ::unlink(name.data());
        return false;
    }
    if (::rename(name.data(), path.c_str()) != 0) {
        ::unlink(name.data());
        return false;
    }
    return true;
}

bool isLowerHex(const std::string& text)
{
    for (char c : text) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    }
    return true;
}

} // namespace

XMLVerify::XMLVerify() = default;

XMLVerify::~XMLVerify() = default;

bool XMLVerify::insertSignature(const oskit::Path& path)
{
    std::optional<std::string> text = readFile(path.getPath());
    if (!text) {
        std::fprintf(stderr, "XMLVerify: cannot read %s\n", path.c_str());
        return false;
    }
    std::optional<RootTag> tag = findRootTag(*text);
    if (!tag) {
        std::fprintf(stderr, "XMLVerify: no root element in %s\n", path.c_str());
        return false;
    }
    if (std::optional<SignatureAttribute> old = findSignature(*text, *tag)) {
        text->erase(old->begin, old->end - old->begin);
    }
    const std::string digest = sha256Hex(*text);
    if (digest.size() != kDigestHexLength) return false;
    text->insert(tag->nameEnd, std::string(" ") + kAttribute + "=\"" + digest + "\"");
    if (!replaceFile(path.getPath(), *text)) {
        std::fprintf(stderr, "XMLVerify: cannot write %s\n", path.c_str());
        return false;
    }
    return true;
}

bool XMLVerify::verifySignature(const oskit::Path& path)
{
    std::optional<std::string> text = readFile(path.getPath());
    if (!text) return false;
    return verifySignatureOfBytes(*text);
}

bool XMLVerify::verifySignatureOfBytes(const std::string& bytes)
{
    std::optional<RootTag> tag = findRootTag(bytes);
    if (!tag) return false;
    std::optional<SignatureAttribute> signature = findSignature(bytes, *tag);
    if (!signature || signature->value.size() != kDigestHexLength || !isLowerHex(signature->value)) return false;
    std::string text;
    text.reserve(bytes.size() - (signature->end - signature->begin));
    text.append(bytes, 0, signature->begin);
    text.append(bytes, signature->end, std::string::npos);
    return sha256Hex(text) == signature->value;
}
