#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "panelkit/Export.h"

class TiXmlDocument;

// Replaces a file's whole content so that it is never seen half written or
// unsigned: the bytes go to a temporary file beside the target, which is
// flushed, synced, closed, signed and its signature checked where the file is
// signed, then renamed over the target, and the directory is synced so that
// the rename survives a power cut. Any failing step removes the temporary file
// and leaves the target as it was. An XML file is written only if its bytes
// pass the input pre-check that every loader applies (oskit::InputFile::
// checkXml): a file the next load would refuse never replaces a good one. The
// writer reports failure and logs nothing: each caller logs its own line.
class PANEL_API WholeFileWriter {
public:
    enum class ESigning { kUnsigned, kSigned };

    // The steps of one write, in their order. kSign and kVerify are taken for
    // signed files only, kPrint for documents only, kCheck for XML files only.
    enum class EStep {
        kNone,
        kPrint,         // the document printed as TinyXML saves it
        kCheck,         // the XML bytes passed through the input pre-check
        kCreate,        // the temporary file made beside the target
        kWrite,         // the bytes written to it
        kSync,          // its content synced to the disk
        kClose,         // closed
        kSign,          // XMLVerify::insertSignature on it
        kVerify,        // XMLVerify::verifySignature of it
        kRename,        // renamed over the target
        kSyncDirectory, // the directory synced; the target is replaced by then
    };

    // True when the file holds exactly the bytes (and, if signed, their signature).
    static bool write(const std::string& path, std::string_view bytes, ESigning signing = ESigning::kUnsigned);
    // As write, for the bytes of an XML file: they must pass the input pre-check.
    static bool writeXml(const std::string& path, const std::string& bytes, ESigning signing = ESigning::kUnsigned);
    // The document's bytes as TinyXML's SaveFile writes them, written as an XML file.
    static bool writeDocument(const std::string& path, const TiXmlDocument& document,
                              ESigning signing = ESigning::kUnsigned);
    // The bytes TinyXML's SaveFile writes for the document; none if printing fails.
    static std::optional<std::string> documentBytes(const TiXmlDocument& document);

    static const char* stepName(EStep step);

    // Test seam: every write from now on fails at this step as if the system
    // call had failed, until it is set to kNone again. Not for production use.
    static void failStepForTesting(EStep step);
};
