#pragma once

#include <string>

#include <tinyxml.h>

#include "oskit/InputFile.h"
#include "panelkit/Export.h"

// Reads XML documents through oskit::InputFile: the file's bytes are read
// whole and checked (nesting, UTF-8, NUL) before the XML library sees them,
// then parsed from memory with the library's own line-end handling, so that
// error rows count as a load from the file counts them.
class PANEL_API XMLInput {
public:
    // True when the document was read and parsed. On a refusal (why tells
    // which) the document is left as it was, as a file that does not open
    // leaves it; a parse error leaves what the library built, as a load does.
    static bool load(TiXmlDocument& document, const std::string& path,
                     TiXmlEncoding encoding = TIXML_DEFAULT_ENCODING,
                     oskit::InputFile::EResult* why = nullptr);
    // Parses checked bytes the way a load from a file does.
    static bool parse(TiXmlDocument& document, const std::string& bytes,
                      TiXmlEncoding encoding = TIXML_DEFAULT_ENCODING);
};
