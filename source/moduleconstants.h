#pragma once

#include <string>

// Names the macro system uses under the panel's data directory.
extern const std::string kMacroDirectoryName;   // "macro"
extern const std::string kMacroFileExtension;   // ".mac"
extern const std::string kMacroAttachFileName;  // "attach.xml"
