#pragma once

#include <string>

// The name of a FID, local ("SETVAR") or full ("PANEL.SETVAR").
using FunctionID = std::string;
