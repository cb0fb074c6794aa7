#pragma once

#include <cstddef>
#include <string>

#include "panelkit/Export.h"

namespace oskit {

// The one way an input file is read. Only a regular file is taken: the path is
// opened without blocking and closed on exec, so that a named pipe, a device or
// a socket standing there is refused instead of waited on. A symbolic-link loop
// and a file larger than kMaxSize are refused too. Bytes meant for the XML
// library pass checkXml first.
class PANEL_API InputFile {
public:
    enum EResult {
        RESULT_OK = 0,
        RESULT_MISSING,     // nothing stands at the path
        RESULT_UNREADABLE,  // open or read failed (permissions, I/O)
        RESULT_NOT_REGULAR, // a folder, named pipe, device or socket
        RESULT_LINK_LOOP,   // symbolic links that lead in a circle
        RESULT_TOO_BIG,     // larger than kMaxSize
        RESULT_XML_TOO_DEEP,
        RESULT_XML_BAD_UTF8,
        RESULT_XML_CUT_UTF8,
        RESULT_XML_NUL
    };

    // Far above any file the panel keeps (they are a few kilobytes).
    static constexpr std::size_t kMaxSize = 16u * 1024u * 1024u;
    // The panel's own files nest elements a few levels deep.
    static constexpr int kMaxXmlDepth = 64;

    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    // RESULT_OK when the file is open for reading.
    EResult result() const { return m_result; }
    bool isOpen() const { return m_fd >= 0; }
    // The open descriptor (for a lock), -1 when refused.
    int descriptor() const { return m_fd; }
    // Reads from the current position to the end; RESULT_TOO_BIG when the
    // file grew past the cap after it was opened.
    EResult readAll(std::string& bytes);
    void close();

    // Opens, reads whole and closes.
    static EResult read(const std::string& path, std::string& bytes);
    // read, then checkXml on the bytes.
    static EResult readXml(const std::string& path, std::string& bytes);

    // Element nesting no deeper than maxDepth as the XML library would nest
    // them, well-formed UTF-8 with no sequence cut at the end, no NUL byte.
    static EResult checkXml(const std::string& bytes, int maxDepth = kMaxXmlDepth);
    // A text that is to stand inside an XML file (a name, a value): checkXml
    // takes the file only if each such text is well-formed UTF-8 without a
    // byte order mark and holds no NUL byte (the XML library would write the
    // NUL as a reference and cut the text there on reading it back).
    static EResult checkText(const std::string& text);
    // The deepest element nesting the XML library can build from these bytes
    // (never less than it builds), counting stops above stopAbove. The bytes
    // must hold no NUL and be well-formed UTF-8.
    static int xmlNestingDepth(const std::string& bytes, int stopAbove);

    // True for what refuses the thing at a path or its contents, false for OK,
    // a missing and an unreadable file.
    static bool isRefusal(EResult result);
    // A short text for log lines, such as "not a regular file".
    static std::string describe(EResult result);

private:
    int m_fd = -1;
    EResult m_result = RESULT_MISSING;
};

} // namespace oskit
