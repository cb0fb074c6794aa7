#pragma once

#include <cstdint>
#include <string>

#include "panelkit/Export.h"

// A colour built from text such as "0x1F2E3D". Text that is no colour gives black.
class PANEL_API ColorRgb {
public:
    ColorRgb() = default;
    explicit ColorRgb(const std::string& text);
    ~ColorRgb();

    uint8_t red() const { return m_red; }
    uint8_t green() const { return m_green; }
    uint8_t blue() const { return m_blue; }
    // "0xRRGGBB", upper-case hex digits.
    std::string toString() const;

private:
    uint8_t m_red = 0;
    uint8_t m_green = 0;
    uint8_t m_blue = 0;
};
