#pragma once

// The live panel's page, built into panelhost: its files by path, and the
// default layout.

#include <string_view>

namespace panelhost::web {

struct Asset {
    std::string_view path; // "/index.html"
    std::string_view type; // content type
    std::string_view body;
};

// The asset at an exact path, or null.
const Asset* findAsset(std::string_view path);

// The layout used when --layout names none (examples/layout.json).
std::string_view defaultLayout();

} // namespace panelhost::web
