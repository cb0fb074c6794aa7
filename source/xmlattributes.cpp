#include "xmlattributes.h"

#include <vector>

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The end of a name that starts at pos: the first blank, '=', '/' or '>'.
std::size_t nameEnd(std::string_view text, std::size_t pos)
{
    while (pos < text.size() && !isBlank(text[pos]) && text[pos] != '=' && text[pos] != '/' && text[pos] != '>') ++pos;
    return pos;
}

// The position behind the '>' that closes the tag starting at pos, honouring
// quoted values; npos if the text ends first.
std::size_t tagEnd(std::string_view text, std::size_t pos)
{
    char quote = 0;
    for (; pos < text.size(); ++pos) {
        const char c = text[pos];
        if (quote) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            return pos + 1;
        }
    }
    return std::string_view::npos;
}

struct Attribute {
    std::size_t begin; // the name
    std::size_t end;   // behind the closing quote
    std::string_view name;
};

// Reads the attributes of a start tag from pos (behind the element's name).
// Answers false for a tag this pass doesn't read whole; otherwise pos stands
// at the '/' or '>' that ends the attribute list.
bool readAttributes(std::string_view text, std::size_t& pos, std::vector<Attribute>& attributes)
{
    for (;;) {
        const std::size_t blanks = pos;
        while (pos < text.size() && isBlank(text[pos])) ++pos;
        if (pos >= text.size()) return false;
        if (text[pos] == '/' || text[pos] == '>') return true;
        if (pos == blanks) return false;

        Attribute attribute{pos, 0, {}};
        pos = nameEnd(text, pos);
        attribute.name = text.substr(attribute.begin, pos - attribute.begin);
        while (pos < text.size() && isBlank(text[pos])) ++pos;
        if (attribute.name.empty() || pos >= text.size() || text[pos] != '=') return false;
        ++pos;
        while (pos < text.size() && isBlank(text[pos])) ++pos;
        if (pos >= text.size() || (text[pos] != '"' && text[pos] != '\'')) return false;
        const std::size_t close = text.find(text[pos], pos + 1);
        if (close == std::string_view::npos) return false;
        pos = close + 1;
        attribute.end = pos;
        attributes.push_back(attribute);
    }
}

// Appends the start tag [begin, end) without the earlier ones of repeated
// attributes.
void appendReduced(std::string& out, std::string_view text, std::size_t begin, std::size_t end,
                   const std::vector<Attribute>& attributes)
{
    std::size_t copied = begin;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        bool repeatedLater = false;
        for (std::size_t j = i + 1; j < attributes.size() && !repeatedLater; ++j)
            repeatedLater = attributes[j].name == attributes[i].name;
        if (!repeatedLater) continue;
        out.append(text.substr(copied, attributes[i].begin - copied));
        copied = attributes[i].end;
    }
    out.append(text.substr(copied, end - copied));
}

// Copies a construct from pos up to and including the closing mark; the rest
// of the text if the mark is missing. Answers the position behind it.
std::size_t copyThrough(std::string& out, std::string_view text, std::size_t pos, std::string_view mark)
{
    const std::size_t found = text.find(mark, pos);
    const std::size_t end = found == std::string_view::npos ? text.size() : found + mark.size();
    out.append(text.substr(pos, end - pos));
    return end;
}

} // namespace

std::string keepLastRepeatedAttributes(std::string_view text, std::string_view element)
{
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t open = text.find('<', pos);
        if (open == std::string_view::npos) {
            out.append(text.substr(pos));
            break;
        }
        out.append(text.substr(pos, open - pos));
        const std::string_view rest = text.substr(open);
        if (rest.substr(0, 4) == "<!--") {
            pos = copyThrough(out, text, open, "-->");
        } else if (rest.substr(0, 9) == "<![CDATA[") {
            pos = copyThrough(out, text, open, "]]>");
        } else if (rest.substr(0, 2) == "<?") {
            pos = copyThrough(out, text, open, "?>");
        } else if (rest.substr(0, 2) == "<!") {
            pos = copyThrough(out, text, open, ">");
        } else {
            const std::size_t nameBegin = open + 1;
            std::size_t cursor = nameEnd(text, nameBegin);
            const std::size_t end = tagEnd(text, cursor);
            if (end == std::string_view::npos) {
                out.append(text.substr(open));
                break;
            }
            std::vector<Attribute> attributes;
            if (text.substr(nameBegin, cursor - nameBegin) == element && readAttributes(text, cursor, attributes) &&
                tagEnd(text, cursor) == end) {
                appendReduced(out, text, open, end, attributes);
            } else {
                out.append(text.substr(open, end - open));
            }
            pos = end;
        }
    }
    return out;
}
