// Feeds arbitrary text to the scenario script parser. Every line must come
// out as a command or as an error with its line number; nothing may crash; a
// text to the end of a line keeps its quotes.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "scriptparser.h"
#include "textutil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const panelhost::Script script = panelhost::parseScript(input);
    size_t lines = 1;
    for (char c : input)
        if (c == '\n') ++lines;
    for (const auto& e : script.errors)
        if (e.line < 1 || static_cast<size_t>(e.line) > lines || e.message.rfind("expected ", 0) != 0) std::abort();
    for (const auto& c : script.commands)
        if (c.line < 1 || static_cast<size_t>(c.line) > lines) std::abort();
    // The word splitter must take back what the quoting gives.
    std::vector<panelhost::Word> words;
    std::string error;
    if (!panelhost::splitWords(panelhost::quoteWord(input), words, error) || words.size() != 1 || words[0].text != input)
        std::abort();
    // A text to the end of the line is kept as written, quotes and all, unless
    // it is wholly one quoted word or closes with within MS.
    if (input.find_first_of("\n\r") == std::string::npos) {
        size_t loose = 0;
        panelhost::splitWords(input, words, error, &loose);
        const bool within = words.size() >= 2 && words[words.size() - 2].text == "within" &&
                            !words[words.size() - 2].quoted;
        const panelhost::Script line = panelhost::parseScript("expect log " + input);
        if (!within && line.errors.empty() && line.commands.size() == 1) {
            const std::string& value = line.commands[0].value;
            if (words.size() == 1 && words[0].wholly ? value != words[0].text : value != panelhost::trim(input))
                std::abort();
        }
    }
    return 0;
}
