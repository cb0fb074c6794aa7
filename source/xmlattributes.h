#pragma once

// A pass over XML text before the XML library parses it.

#include <string>
#include <string_view>

// The text with every start tag of the named element reduced to the last of
// its repeated attributes: of several attributes of one name only the last
// stays, where a later one counts. The XML library refuses a repeated
// attribute as malformed. The blanks in front of a dropped attribute stay, so
// that line numbers don't move. Comments, CDATA sections, processing
// instructions and declarations are passed over; a start tag that this pass
// can't read whole (an unquoted value, a cut-off end) is left as it stands.
std::string keepLastRepeatedAttributes(std::string_view text, std::string_view element);
