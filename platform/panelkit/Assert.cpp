#include "panelkit/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace panelkit {

void assertionFailed(const char* text, const char* file, int line)
{
    std::fprintf(stderr, "Assertion failed: %s (%s:%d)\n", text ? text : "", file ? file : "", line);
    std::fflush(stderr);
    std::abort();
}

} // namespace panelkit
