#pragma once

// Symbols of the shared host contract (interfaces, value types, toolkit classes)
// are visible across libraries; everything else in the module stays hidden.
#define PANEL_API __attribute__((visibility("default")))
