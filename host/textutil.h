#pragma once

// Small text helpers shared by the host's recorders, the script parser and the
// console: quoting, word splitting, widget and module ids, hex bytes.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class UniqueWidgetID;
class UniqueModuleID;
class FIDParameterList;

namespace panelhost {

// One word of a line. `quoted` is true when any part of it came from "...",
// `wholly` when the whole word is one "..." (as in "two words", not a="b").
struct Word {
    std::string text;
    bool quoted = false;
    bool wholly = false;
    size_t column = 0; // 0-based start in the line
};

// Splits a line at blanks. Double quotes group (and may sit inside a word, as
// in NAME="two words"); "" is the empty word; \" and \\ escape inside quotes.
// Answers false with a message for an unterminated quote; given `looseQuote`,
// such a quote is kept as a plain character instead, its column stored there
// (npos when every quote is closed), and the split goes on.
bool splitWords(const std::string& line, std::vector<Word>& words, std::string& error,
                size_t* looseQuote = nullptr);

// A word as it is written in a recorded line: plain, or quoted when it is
// empty or holds blanks, quotes or backslashes.
std::string quoteWord(const std::string& text);

std::string trim(const std::string& text);
bool startsWith(const std::string& text, const std::string& prefix);
bool endsWith(const std::string& text, const std::string& suffix);

// "W.G.M.N", four decimal numbers, widget fields in range.
std::optional<UniqueWidgetID> parseWidget(const std::string& text);
// "W.G.M", module fields in range.
std::optional<UniqueModuleID> parseModule(const std::string& text);
std::string widgetText(const UniqueWidgetID& id);
std::string moduleText(const UniqueModuleID& id);

// Whole decimal number (optional sign), nothing else.
std::optional<long long> parseInteger(const std::string& text);

// Hex pairs; blanks and line ends between pairs are ignored.
std::optional<std::string> parseHex(const std::string& text);
// Lower-case hex pairs without separators.
std::string hexText(const unsigned char* data, size_t length);
std::string hexText(const std::string& bytes);

// NAME=VALUE words, quoted as needed, separated by blanks, then " @W.G.M.N"
// when `withSource`.
std::string paramsText(const FIDParameterList& params, bool withSource);

} // namespace panelhost
