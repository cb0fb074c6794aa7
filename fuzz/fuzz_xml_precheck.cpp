// Feeds the input to the XML pre-check. Bytes that pass it are parsed by the
// XML library from a buffer exactly as long as the text (so that reading
// past it is caught), and the tree the library built must nest no deeper
// than the pre-check counted.
//
//   build/fuzz/bin/fuzz_xml_precheck fuzz/corpus/xml_precheck -max_len=65536 -runs=20000

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <tinyxml.h>

#include "oskit/InputFile.h"
#include "support/xmltreedepth.h"

namespace {

using xmltest::treeDepth;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const oskit::InputFile::EResult result = oskit::InputFile::checkXml(bytes);
    if (result != oskit::InputFile::RESULT_OK) return 0;

    const int counted = oskit::InputFile::xmlNestingDepth(bytes, oskit::InputFile::kMaxXmlDepth);
    std::unique_ptr<char[]> text(new char[size + 1]);
    std::memcpy(text.get(), data, size);
    text[size] = '\0';
    for (TiXmlEncoding encoding : {TIXML_ENCODING_UNKNOWN, TIXML_ENCODING_UTF8, TIXML_ENCODING_LEGACY}) {
        TiXmlDocument document;
        document.Parse(text.get(), nullptr, encoding);
        if (treeDepth(&document) > counted) std::abort();
    }
    return 0;
}
