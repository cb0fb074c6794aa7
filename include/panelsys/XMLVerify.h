#pragma once

#include <string>

#include "oskit/Path.h"
#include "panelkit/Export.h"

// Signs XML files. The signature is an attribute "signature" on the root
// element holding the hex SHA-256 of the file's bytes without that attribute.
class PANEL_API XMLVerify {
public:
    XMLVerify();
    ~XMLVerify();
    // Signs the file in place (written whole through a temporary file); false
    // when the file can't be read, has no root element or can't be written,
    // and the file is then as it was.
    bool insertSignature(const oskit::Path& path);
    // False for a missing, short or wrong signature, or an unreadable file.
    bool verifySignature(const oskit::Path& path);
    // The same for a file's bytes already read, so that a loader reads its file once.
    bool verifySignatureOfBytes(const std::string& bytes);
};
