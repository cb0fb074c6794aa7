#pragma once

#include "panelkit/Export.h"

class IInterface;

namespace oskit {

// A loadable module: the object that a module's entry point hands to the host.
class PANEL_API Module {
public:
    Module();
    virtual ~Module();
    virtual IInterface* queryInterface(unsigned int id) = 0;
    virtual void onLoad();
    virtual void onUnload();
};

} // namespace oskit
