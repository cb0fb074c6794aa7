#pragma once

// The local FID names a fully started module registers (read off its registry
// when panelhost is built), for completion on the live panel.

#include <string>
#include <vector>

namespace panelhost::web {

std::vector<std::string> panelFidNames();

} // namespace panelhost::web
