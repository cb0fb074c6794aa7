#pragma once

// JSON texts for the live panel's messages. Strings are written as valid
// UTF-8 whatever bytes they hold (a byte that starts no valid sequence
// becomes U+FFFD), since a browser drops a WebSocket that sends otherwise.

#include <string>
#include <string_view>

namespace panelhost::web {

// `text` as a JSON string, quotes included.
std::string jsonString(std::string_view text);
void appendJsonString(std::string& out, std::string_view text);

} // namespace panelhost::web
