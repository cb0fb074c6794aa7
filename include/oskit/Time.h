#pragma once

#include <string>

#include "panelkit/Export.h"

namespace oskit {

// A moment on the wall clock, in seconds since the epoch (with fractions).
// Differences of two values are seconds.
class PANEL_API Time {
public:
    Time() = default;
    explicit Time(double seconds) : m_seconds(seconds) {}

    static Time getCurrentTime();
    double getSeconds() const { return m_seconds; }
    // strftime conversions on the local time of this moment.
    std::string format(const std::string& pattern) const;

    friend double operator-(const Time& a, const Time& b) { return a.m_seconds - b.m_seconds; }

private:
    double m_seconds = 0.0;
};

} // namespace oskit
