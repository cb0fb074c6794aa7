#include "panelkit/UniqueWidgetID.h"

#include <ostream>

UniqueWidgetID::UniqueWidgetID(unsigned workplace, unsigned group, unsigned module, unsigned widget)
    : m_id(static_cast<uint32_t>(workplace << 29) | ((group << 24) & 0x1F000000u) | ((module << 16) & 0x00FF0000u) |
           (widget & 0xFFFFu))
{
}

void UniqueWidgetID::write(std::ostream& os) const
{
    os << getWorkplaceID() << '.' << getGroupID() << '.' << getModuleID() << '.' << getWidgetID();
}

std::ostream& operator<<(std::ostream& os, const UniqueWidgetID& id)
{
    // A stream that takes nothing (a log level that is off) isn't written to.
    if (os) id.write(os);
    return os;
}
