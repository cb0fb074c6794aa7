#pragma once

// The local FID names a fully started module registers, read off its registry
// when libpanelhost is built: what the console completes and what the module
// fuzzer picks from.

#include <string>
#include <vector>

namespace panelhost {

const std::vector<std::string>& moduleFIDNames();

} // namespace panelhost
