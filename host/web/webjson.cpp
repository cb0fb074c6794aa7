#include "webjson.h"

#include <cstdio>

namespace panelhost::web {

namespace {

// The length of the valid UTF-8 sequence at `at`, 0 if there is none.
size_t sequenceLength(std::string_view text, size_t at)
{
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    size_t length = 0;
    unsigned min = 0;
    unsigned code = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        code = lead & 0x1Fu;
        min = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        code = lead & 0x0Fu;
        min = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        code = lead & 0x07u;
        min = 0x10000;
    } else {
        return 0;
    }
    if (at + length > text.size()) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0u) != 0x80u) return 0;
        code = (code << 6) | (byte(at + i) & 0x3Fu);
    }
    if (code < min || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
    return length;
}

} // namespace

void appendJsonString(std::string& out, std::string_view text)
{
    out += '"';
    for (size_t i = 0; i < text.size();) {
        const unsigned char ch = static_cast<unsigned char>(text[i]);
        if (ch < 0x80) {
            switch (ch) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (ch < 0x20 || ch == 0x7f) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04x", ch);
                    out += buf;
                } else {
                    out += static_cast<char>(ch);
                }
            }
            ++i;
            continue;
        }
        const size_t length = sequenceLength(text, i);
        if (length == 0) {
            out += "\\ufffd";
            ++i;
        } else {
            out.append(text.substr(i, length));
            i += length;
        }
    }
    out += '"';
}

std::string jsonString(std::string_view text)
{
    std::string out;
    appendJsonString(out, text);
    return out;
}

} // namespace panelhost::web
