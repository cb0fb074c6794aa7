#pragma once

#include <string>

#include "panelkit/Export.h"

namespace oskit {

// A file system path: its text, its separator '/' and the alternate separator '\\'.
class PANEL_API Path {
public:
    Path();
    explicit Path(std::string text);
    Path(const Path&) = default;
    Path& operator=(const Path&) = default;
    ~Path();

    // False with no effect if the path or the component is empty. Otherwise the
    // alternate separators in the component become the separator, and it is
    // appended with exactly one separator between.
    bool expand(const std::string& component);
    // Makes a relative path absolute against the working directory.
    void fixNotFullQualified();
    static Path getCurrentWorkingDirPath();

    const std::string& getPath() const { return m_text; }
    const char* c_str() const { return m_text.c_str(); }
    bool isEmpty() const { return m_text.empty(); }
    char getSeparator() const { return m_separator; }

private:
    std::string m_text;
    char m_separator = '/';
    std::string m_alternateSeparators = "\\";
};

} // namespace oskit
