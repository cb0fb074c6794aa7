#include "panelkit/UniqueModuleID.h"

#include <ostream>

#include "panelkit/Assert.h"

UniqueModuleID::UniqueModuleID(uint16_t workplaceID, uint16_t groupID, uint16_t moduleID)
{
    PANEL_ASSERT(workplaceID < 8 && groupID < 32 && moduleID < 256, "workplaceID < 8 && groupID < 32 && moduleID < 256");
    m_id = static_cast<uint16_t>((workplaceID << 13) | (groupID << 8) | moduleID);
}

UniqueModuleID::UniqueModuleID(const UniqueWidgetID& widget)
    : m_id(static_cast<uint16_t>((widget.getWorkplaceID() << 13) | (widget.getGroupID() << 8) | widget.getModuleID()))
{
}

UniqueModuleID UniqueModuleID::fromWord(uint16_t word)
{
    UniqueModuleID id;
    id.m_id = word;
    return id;
}

void UniqueModuleID::write(std::ostream& os) const
{
    os << getWorkplaceID() << '.' << getGroupID() << '.' << getModuleID();
}

std::ostream& operator<<(std::ostream& os, const UniqueModuleID& id)
{
    id.write(os);
    return os;
}
