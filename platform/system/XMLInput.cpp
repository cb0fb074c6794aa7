#include "panelsys/XMLInput.h"

bool XMLInput::load(TiXmlDocument& document, const std::string& path, TiXmlEncoding encoding,
                    oskit::InputFile::EResult* why)
{
    std::string bytes;
    const oskit::InputFile::EResult result = oskit::InputFile::readXml(path, bytes);
    if (why) *why = result;
    if (result != oskit::InputFile::RESULT_OK) return false;
    return parse(document, bytes, encoding);
}

bool XMLInput::parse(TiXmlDocument& document, const std::string& bytes, TiXmlEncoding encoding)
{
    // A load starts from an empty document and reads every line end (CR LF
    // or a lone CR) as LF before parsing.
    document.Clear();
    document.ClearError();
    // Most files have no CR at all: those are parsed as they are, without a copy.
    if (bytes.find('\r') == std::string::npos) {
        document.Parse(bytes.c_str(), nullptr, encoding);
        return !document.Error();
    }
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\r') {
            text += '\n';
            if (i + 1 < bytes.size() && bytes[i + 1] == '\n') ++i;
        } else {
            text += bytes[i];
        }
    }
    document.Parse(text.c_str(), nullptr, encoding);
    return !document.Error();
}
