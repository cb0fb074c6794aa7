#pragma once

#include "panelkit/Export.h"

// A precondition that the host or a caller must meet. The message is the
// condition's own text; the check stays on in release builds.
namespace panelkit {
[[noreturn]] PANEL_API void assertionFailed(const char* text, const char* file, int line);
}

#define PANEL_ASSERT(cond, text)                                   \
    do {                                                           \
        if (!(cond)) ::panelkit::assertionFailed(text, __FILE__, __LINE__); \
    } while (0)
