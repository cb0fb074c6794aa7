#include "oskit/InputFile.h"

#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>

namespace oskit {

namespace {

InputFile::EResult resultOfErrno(int error)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return InputFile::RESULT_MISSING;
    case ELOOP:
        return InputFile::RESULT_LINK_LOOP;
    case ENXIO:
    case ENODEV:
        return InputFile::RESULT_NOT_REGULAR;
    default:
        return InputFile::RESULT_UNREADABLE;
    }
}

// ---- UTF-8 ---------------------------------------------------------------------------------------

// Well-formed UTF-8 (shortest forms, no surrogates, nothing above U+10FFFF).
// A byte order mark may open a whole file (openingMark); U+FEFF anywhere else
// and the non-characters U+FFFE and U+FFFF are refused, since the XML library
// skips them as blanks in some places and not in others.
InputFile::EResult checkUtf8(const std::string& text, bool openingMark)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size();
    std::size_t i = 0;
    if (openingMark && size >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) i = 3;
    while (i < size) {
        const unsigned char lead = bytes[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            if (lead == 0xE0) low = 0xA0;
            if (lead == 0xED) high = 0x9F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            if (lead == 0xF0) low = 0x90;
            if (lead == 0xF4) high = 0x8F;
        } else {
            return InputFile::RESULT_XML_BAD_UTF8;
        }
        for (std::size_t k = 1; k < length; ++k) {
            if (i + k >= size) return InputFile::RESULT_XML_CUT_UTF8;
            const unsigned char next = bytes[i + k];
            if (next < (k == 1 ? low : 0x80) || next > (k == 1 ? high : 0xBF)) return InputFile::RESULT_XML_BAD_UTF8;
        }
        if (lead == 0xEF && ((bytes[i + 1] == 0xBB && bytes[i + 2] == 0xBF) ||
                             (bytes[i + 1] == 0xBF && (bytes[i + 2] == 0xBE || bytes[i + 2] == 0xBF))))
            return InputFile::RESULT_XML_BAD_UTF8;
        i += length;
    }
    return InputFile::RESULT_OK;
}

// ---- nesting ---------------------------------------------------------------------------------------
//
// The XML library descends once per element it opens, in its parser, its
// printer, its copies and its destructor. The scan below walks the text the
// way the library reads it: text runs to the next '<'; an end tag closes an
// element only inside one; "<?xml" opens a declaration, whose version,
// encoding and standalone attributes may quote a '>'; a comment runs to
// "-->", a CDATA section to "]]>", any other "<!" or "<" without a name to the
// next '>'; an element's start tag may quote a '>' in its attribute values and
// ends with "/>" (empty) or '>'. Where the library stops with an error, the
// scan may go on: it then counts elements the library never builds, which can
// only refuse more, never less.

bool isBlank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0 || c == '\n' || c == '\r';
}

bool isNameStart(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 127 || std::isalpha(byte) != 0 || c == '_';
}

bool isNameChar(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 127 || std::isalnum(byte) != 0 || c == '_' || c == '-' || c == '.' || c == ':';
}

bool startsWith(const char* p, const char* tag) { return std::strncmp(p, tag, std::strlen(tag)) == 0; }

bool startsWithNoCase(const char* p, const char* tag)
{
    for (; *tag; ++p, ++tag) {
        if (std::tolower(static_cast<unsigned char>(*p)) != std::tolower(static_cast<unsigned char>(*tag)))
            return false;
    }
    return true;
}

const char* endOf(const char* p) { return p + std::strlen(p); }

// Past the next occurrence of the tag, or the end of the text.
const char* skipPast(const char* p, const char* tag)
{
    const char* found = std::strstr(p, tag);
    return found ? found + std::strlen(tag) : endOf(p);
}

const char* skipBlanks(const char* p)
{
    while (*p && isBlank(*p)) ++p;
    return p;
}

// A quoted value from its opening quote: past the closing one, or the end.
const char* skipQuoted(const char* p)
{
    const char* close = std::strchr(p + 1, *p);
    return close ? close + 1 : endOf(p);
}

// From behind "<?xml" to behind its '>'; the end of the text where the library stops.
const char* skipDeclaration(const char* p)
{
    while (*p) {
        if (*p == '>') return p + 1;
        p = skipBlanks(p);
        if (startsWithNoCase(p, "version") || startsWithNoCase(p, "encoding") || startsWithNoCase(p, "standalone")) {
            while (*p && isNameChar(*p)) ++p;
            p = skipBlanks(p);
            if (*p != '=') return endOf(p);
            p = skipBlanks(p + 1);
            if (*p == '"' || *p == '\'') {
                p = skipQuoted(p);
            } else {
                while (*p && !isBlank(*p) && *p != '/' && *p != '>') {
                    if (*p == '"' || *p == '\'') return endOf(p);
                    ++p;
                }
            }
        } else {
            while (*p && *p != '>' && !isBlank(*p)) ++p;
        }
    }
    return p;
}

// From the element's name to behind its start tag; empty tells "/>".
const char* skipStartTag(const char* p, bool& empty)
{
    empty = false;
    while (*p) {
        if (*p == '"' || *p == '\'') {
            p = skipQuoted(p);
        } else if (*p == '/' && p[1] == '>') {
            empty = true;
            return p + 2;
        } else if (*p == '>') {
            return p + 1;
        } else {
            ++p;
        }
    }
    return p;
}

} // namespace

int InputFile::xmlNestingDepth(const std::string& bytes, int stopAbove)
{
    const char* p = bytes.c_str();
    int depth = 0;
    int deepest = 0;
    while (*p) {
        if (*p != '<') {
            ++p;
        } else if (depth > 0 && p[1] == '/') {
            --depth;
            p = skipPast(p + 2, ">");
        } else if (startsWithNoCase(p, "<?xml")) {
            p = skipDeclaration(p + 5);
        } else if (startsWith(p, "<!--")) {
            p = skipPast(p + 4, "-->");
        } else if (startsWith(p, "<![CDATA[")) {
            p = skipPast(p + 9, "]]>");
        } else if (p[1] != '!' && isNameStart(p[1])) {
            // An empty element is a level of its own, without children.
            bool empty = false;
            p = skipStartTag(p + 1, empty);
            const int level = depth + 1;
            if (!empty) depth = level;
            if (level > deepest) {
                deepest = level;
                if (deepest > stopAbove) return deepest;
            }
        } else {
            p = skipPast(p + 1, ">");
        }
    }
    return deepest;
}

InputFile::EResult InputFile::checkXml(const std::string& bytes, int maxDepth)
{
    if (std::memchr(bytes.data(), '\0', bytes.size()) != nullptr) return RESULT_XML_NUL;
    const EResult encoding = checkUtf8(bytes, true);
    if (encoding != RESULT_OK) return encoding;
    if (xmlNestingDepth(bytes, maxDepth) > maxDepth) return RESULT_XML_TOO_DEEP;
    return RESULT_OK;
}

InputFile::EResult InputFile::checkText(const std::string& text)
{
    if (std::memchr(text.data(), '\0', text.size()) != nullptr) return RESULT_XML_NUL;
    return checkUtf8(text, false);
}

// ---- the file ------------------------------------------------------------------------------------

InputFile::InputFile(const std::string& path)
{
    if (path.empty()) return;
    const detail::RegularOpen opened = detail::openRegular(path, O_RDONLY);
    if (opened.notRegular) {
        m_result = RESULT_NOT_REGULAR;
        return;
    }
    if (opened.fd < 0) {
        m_result = resultOfErrno(opened.error);
        return;
    }
    if (opened.size < 0 || static_cast<unsigned long long>(opened.size) > kMaxSize) {
        ::close(opened.fd);
        m_result = RESULT_TOO_BIG;
        return;
    }
    m_fd = opened.fd;
    m_result = RESULT_OK;
}

InputFile::~InputFile() { close(); }

void InputFile::close()
{
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

InputFile::EResult InputFile::readAll(std::string& bytes)
{
    bytes.clear();
    if (m_fd < 0) return m_result == RESULT_OK ? RESULT_UNREADABLE : m_result;
    char chunk[8192];
    for (;;) {
        const ssize_t count = ::read(m_fd, chunk, sizeof chunk);
        if (count == 0) break;
        if (count < 0) {
            if (errno == EINTR) continue;
            bytes.clear();
            return RESULT_UNREADABLE;
        }
        if (bytes.size() + static_cast<std::size_t>(count) > kMaxSize) {
            bytes.clear();
            return RESULT_TOO_BIG;
        }
        bytes.append(chunk, static_cast<std::size_t>(count));
    }
    return RESULT_OK;
}

InputFile::EResult InputFile::read(const std::string& path, std::string& bytes)
{
    bytes.clear();
    InputFile file(path);
    if (file.result() != RESULT_OK) return file.result();
    return file.readAll(bytes);
}

InputFile::EResult InputFile::readXml(const std::string& path, std::string& bytes)
{
    EResult result = read(path, bytes);
    if (result == RESULT_OK) result = checkXml(bytes);
    if (result != RESULT_OK) bytes.clear();
    return result;
}

bool InputFile::isRefusal(EResult result)
{
    return result != RESULT_OK && result != RESULT_MISSING && result != RESULT_UNREADABLE;
}

std::string InputFile::describe(EResult result)
{
    switch (result) {
    case RESULT_OK:
        return "readable";
    case RESULT_MISSING:
        return "missing";
    case RESULT_UNREADABLE:
        return "unreadable";
    case RESULT_NOT_REGULAR:
        return "not a regular file";
    case RESULT_LINK_LOOP:
        return "symbolic link loop";
    case RESULT_TOO_BIG:
        return "larger than " + std::to_string(kMaxSize) + " bytes";
    case RESULT_XML_TOO_DEEP:
        return "elements nested deeper than " + std::to_string(kMaxXmlDepth) + " levels";
    case RESULT_XML_BAD_UTF8:
        return "malformed UTF-8";
    case RESULT_XML_CUT_UTF8:
        return "UTF-8 sequence cut at the end";
    case RESULT_XML_NUL:
        return "NUL byte";
    }
    return "refused";
}

} // namespace oskit
