#include "panelkit/ColorRgb.h"

#include <cstdio>

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

} // namespace

// Accepts "0xRRGGBB" ("0X" and "#" as prefix too, or none); anything else is black.
ColorRgb::ColorRgb(const std::string& text)
{
    std::string digits = text;
    if (digits.size() >= 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        digits.erase(0, 2);
    } else if (!digits.empty() && digits[0] == '#') {
        digits.erase(0, 1);
    }
    if (digits.size() != 6) return;
    int values[6];
    for (size_t i = 0; i < 6; ++i) {
        values[i] = hexDigit(digits[i]);
        if (values[i] < 0) return;
    }
    m_red = static_cast<uint8_t>(values[0] * 16 + values[1]);
    m_green = static_cast<uint8_t>(values[2] * 16 + values[3]);
    m_blue = static_cast<uint8_t>(values[4] * 16 + values[5]);
}

ColorRgb::~ColorRgb() = default;

std::string ColorRgb::toString() const
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%02X%02X%02X", static_cast<unsigned>(m_red), static_cast<unsigned>(m_green),
                  static_cast<unsigned>(m_blue));
    return text;
}
