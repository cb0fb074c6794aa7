#pragma once

// The live panel's layout file (--layout FILE): a JSON document that the page
// reads. The host only checks that it is one, with an object at the top and
// a "workplaces" list, and hands it to the page as it is.

#include <string>

namespace panelhost::web {

constexpr size_t kMaxLayoutBytes = 1024 * 1024;

// False with "line N: what" (or what is missing) for a text that is no layout.
bool checkLayout(const std::string& text, std::string& error);

} // namespace panelhost::web
