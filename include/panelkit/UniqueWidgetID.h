#pragma once

#include <cstdint>
#include <iosfwd>

#include "panelkit/Export.h"

// One widget of the panel: workplace (3 bits), group (5), module (8), widget (16)
// packed into one unsigned 32-bit word.
class PANEL_API UniqueWidgetID {
public:
    UniqueWidgetID() = default;
    explicit UniqueWidgetID(uint32_t word) : m_id(word) {}
    // Shifts and masks as given; the workplace is not masked before its shift,
    // so bits above the third fall off the 32-bit word. No range test.
    UniqueWidgetID(unsigned workplace, unsigned group, unsigned module, unsigned widget);

    uint32_t getID() const { return m_id; }
    unsigned getWorkplaceID() const { return m_id >> 29; }
    unsigned getGroupID() const { return (m_id >> 24) & 0x1F; }
    unsigned getModuleID() const { return (m_id >> 16) & 0xFF; }
    unsigned getWidgetID() const { return m_id & 0xFFFF; }

    // workplace.group.module.widget, plain decimals.
    void write(std::ostream& os) const;

    friend bool operator<(const UniqueWidgetID& a, const UniqueWidgetID& b) { return a.m_id < b.m_id; }
    friend bool operator==(const UniqueWidgetID& a, const UniqueWidgetID& b) { return a.m_id == b.m_id; }
    friend bool operator!=(const UniqueWidgetID& a, const UniqueWidgetID& b) { return a.m_id != b.m_id; }

private:
    uint32_t m_id = 0;
};

PANEL_API std::ostream& operator<<(std::ostream& os, const UniqueWidgetID& id);
