#include "textutil.h"

#include <cctype>
#include <sstream>

#include "panelkit/FIDParameter.h"
#include "panelkit/UniqueModuleID.h"
#include "panelkit/UniqueWidgetID.h"

namespace panelhost {

bool splitWords(const std::string& line, std::vector<Word>& words, std::string& error, size_t* looseQuote)
{
    words.clear();
    if (looseQuote) *looseQuote = std::string::npos;
    size_t i = 0;
    const size_t n = line.size();
    while (i < n) {
        while (i < n && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
        if (i >= n) break;
        Word word;
        word.column = i;
        bool wholly = line[i] == '"';
        while (i < n && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') {
            if (line[i] == '"') {
                const size_t open = i;
                const size_t kept = word.text.size();
                ++i;
                bool closed = false;
                while (i < n) {
                    if (line[i] == '\\' && i + 1 < n && (line[i + 1] == '"' || line[i + 1] == '\\')) {
                        word.text += line[i + 1];
                        i += 2;
                    } else if (line[i] == '"') {
                        closed = true;
                        ++i;
                        break;
                    } else {
                        word.text += line[i++];
                    }
                }
                if (closed) {
                    word.quoted = true;
                    if (wholly && i < n && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') wholly = false;
                } else if (looseQuote) {
                    if (*looseQuote == std::string::npos) *looseQuote = open;
                    word.text.resize(kept);
                    word.text += '"';
                    i = open + 1;
                    wholly = false;
                } else {
                    error = "a closing \" for the quote in column " + std::to_string(open + 1);
                    words.clear();
                    return false;
                }
            } else {
                word.text += line[i++];
                wholly = false;
            }
        }
        word.wholly = wholly && word.quoted;
        words.push_back(std::move(word));
    }
    return true;
}

std::string quoteWord(const std::string& text)
{
    bool plain = !text.empty();
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == '"' || c == '\\' || c == '\n' || c == '\r') {
            plain = false;
            break;
        }
    }
    if (plain) return text;
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    out += '"';
    return out;
}

std::string trim(const std::string& text)
{
    size_t b = 0;
    size_t e = text.size();
    while (b < e && std::isspace(static_cast<unsigned char>(text[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(text[e - 1]))) --e;
    return text.substr(b, e - b);
}

bool startsWith(const std::string& text, const std::string& prefix)
{
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

bool endsWith(const std::string& text, const std::string& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

namespace {

bool splitNumbers(const std::string& text, size_t count, std::vector<unsigned long>& out)
{
    out.clear();
    size_t start = 0;
    for (size_t part = 0; part < count; ++part) {
        size_t end = text.find('.', start);
        if (part + 1 == count) {
            if (end != std::string::npos) return false;
            end = text.size();
        } else if (end == std::string::npos) {
            return false;
        }
        const std::string piece = text.substr(start, end - start);
        if (piece.empty() || piece.size() > 9) return false;
        for (char c : piece)
            if (!std::isdigit(static_cast<unsigned char>(c))) return false;
        out.push_back(std::stoul(piece));
        start = end + 1;
    }
    return true;
}

} // namespace

std::optional<UniqueWidgetID> parseWidget(const std::string& text)
{
    std::vector<unsigned long> v;
    if (!splitNumbers(text, 4, v)) return std::nullopt;
    if (v[0] > 7 || v[1] > 31 || v[2] > 255 || v[3] > 65535) return std::nullopt;
    return UniqueWidgetID(static_cast<unsigned>(v[0]), static_cast<unsigned>(v[1]), static_cast<unsigned>(v[2]),
                          static_cast<unsigned>(v[3]));
}

std::optional<UniqueModuleID> parseModule(const std::string& text)
{
    std::vector<unsigned long> v;
    if (!splitNumbers(text, 3, v)) return std::nullopt;
    if (v[0] > 7 || v[1] > 31 || v[2] > 255) return std::nullopt;
    return UniqueModuleID(static_cast<uint16_t>(v[0]), static_cast<uint16_t>(v[1]), static_cast<uint16_t>(v[2]));
}

std::string widgetText(const UniqueWidgetID& id)
{
    return std::to_string(id.getWorkplaceID()) + "." + std::to_string(id.getGroupID()) + "." +
           std::to_string(id.getModuleID()) + "." + std::to_string(id.getWidgetID());
}

std::string moduleText(const UniqueModuleID& id)
{
    return std::to_string(id.getWorkplaceID()) + "." + std::to_string(id.getGroupID()) + "." +
           std::to_string(id.getModuleID());
}

std::optional<long long> parseInteger(const std::string& text)
{
    if (text.empty() || text.size() > 18) return std::nullopt;
    size_t i = 0;
    if (text[0] == '-' || text[0] == '+') i = 1;
    if (i >= text.size()) return std::nullopt;
    for (size_t k = i; k < text.size(); ++k)
        if (!std::isdigit(static_cast<unsigned char>(text[k]))) return std::nullopt;
    return std::stoll(text);
}

std::optional<std::string> parseHex(const std::string& text)
{
    std::string out;
    int high = -1;
    for (char c : text) {
        if (std::isspace(static_cast<unsigned char>(c))) {
            if (high >= 0) return std::nullopt;
            continue;
        }
        int v;
        if (c >= '0' && c <= '9') v = c - '0';
        else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
        else return std::nullopt;
        if (high < 0) {
            high = v;
        } else {
            out += static_cast<char>((high << 4) | v);
            high = -1;
        }
    }
    if (high >= 0) return std::nullopt;
    return out;
}

std::string hexText(const unsigned char* data, size_t length)
{
    static const char* digits = "0123456789abcdef";
    std::string out;
    out.reserve(length * 2);
    for (size_t i = 0; i < length; ++i) {
        out += digits[data[i] >> 4];
        out += digits[data[i] & 0xF];
    }
    return out;
}

std::string hexText(const std::string& bytes)
{
    return hexText(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::string paramsText(const FIDParameterList& params, bool withSource)
{
    std::string out;
    for (const auto& p : params.parameters()) {
        if (!out.empty()) out += ' ';
        out += quoteWord(p.name + "=" + p.value);
    }
    if (withSource) {
        if (!out.empty()) out += ' ';
        out += "@" + widgetText(params.sourceWidget);
    }
    return out;
}

} // namespace panelhost
