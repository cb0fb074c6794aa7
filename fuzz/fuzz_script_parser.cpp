// Feeds arbitrary text to the scenario script parser. Every line must come
// out as a command or as an error with its line number; nothing may crash.

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
    return 0;
}
