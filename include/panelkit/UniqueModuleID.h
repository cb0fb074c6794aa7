#pragma once

#include <cstdint>
#include <iosfwd>

#include "panelkit/Export.h"
#include "panelkit/UniqueWidgetID.h"

// One hardware module: workplace (3 bits), group (5), module (8) in 16 bits.
class PANEL_API UniqueModuleID {
public:
    UniqueModuleID() = default;
    // Asserts "workplaceID < 8 && groupID < 32 && moduleID < 256".
    UniqueModuleID(uint16_t workplaceID, uint16_t groupID, uint16_t moduleID);
    // Cut out of the widget word directly, without a test.
    explicit UniqueModuleID(const UniqueWidgetID& widget);

    static UniqueModuleID fromWord(uint16_t word);

    uint16_t getID() const { return m_id; }
    unsigned getWorkplaceID() const { return m_id >> 13; }
    unsigned getGroupID() const { return (m_id >> 8) & 0x1F; }
    unsigned getModuleID() const { return m_id & 0xFF; }

    // workplace.group.module
    void write(std::ostream& os) const;

    friend bool operator<(const UniqueModuleID& a, const UniqueModuleID& b) { return a.m_id < b.m_id; }
    friend bool operator==(const UniqueModuleID& a, const UniqueModuleID& b) { return a.m_id == b.m_id; }
    friend bool operator!=(const UniqueModuleID& a, const UniqueModuleID& b) { return a.m_id != b.m_id; }

private:
    uint16_t m_id = 0;
};

PANEL_API std::ostream& operator<<(std::ostream& os, const UniqueModuleID& id);
