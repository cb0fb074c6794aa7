// Feeds a pattern and a name to FIDPatternHelper::matches. The input splits at
// the first NUL or newline: the pattern before it, the name after it (an input
// without a split point is tried as both).

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "panelkit/FIDHelper.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t split = input.find_first_of(std::string("\0\n", 2));
    const std::string pattern = split == std::string::npos ? input : input.substr(0, split);
    const std::string name = split == std::string::npos ? input : input.substr(split + 1);

    const FIDPatternHelper helper(pattern);
    const bool matched = helper.matches(FIDHelper(name));
    const FIDPatternList& captures = helper.getCaptures();
    std::string star;
    const bool captured = captures.getValue("*", star);
    // A match holds exactly one capture "*", with the text in the star's place.
    if (matched != captured) std::abort();
    if (matched && (captures.size() != 1 || star.empty() || pattern.size() - 1 + star.size() != name.size())) {
        std::abort();
    }
    if (!matched && !captures.empty()) std::abort();
    return 0;
}
