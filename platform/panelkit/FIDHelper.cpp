#include "panelkit/FIDHelper.h"

FIDHelper::~FIDHelper() = default;

FIDPatternHelper::~FIDPatternHelper() = default;

// The pattern's last word is "*". The name must equal the pattern up to the
// star and hold at least one character in its place; that text (full stops
// included) becomes the capture "*".
bool FIDPatternHelper::matches(const FIDHelper& candidate) const
{
    m_captures = FIDPatternList();
    const std::string& pattern = m_name;
    const std::string& name = candidate.getName();
    if (pattern.empty() || pattern.back() != '*') return false;
    const size_t prefixLength = pattern.size() - 1;
    if (prefixLength > 0 && pattern[prefixLength - 1] != '.') return false;
    if (name.size() <= prefixLength) return false;
    if (name.compare(0, prefixLength, pattern, 0, prefixLength) != 0) return false;
    m_captures.add("*", name.substr(prefixLength));
    return true;
}
