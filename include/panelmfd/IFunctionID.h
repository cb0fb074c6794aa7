#pragma once

#include "panelkit/FIDParameter.h"
#include "panelkit/FunctionID.h"
#include "panelmfd/IInterface.h"

// Takes FIDs. The module's own (id 1100) takes local names; the host's FID
// receiver, handed to the macro system, takes full names with the driver prefix.
class PANEL_API IFunctionID : public virtual IInterface {
public:
    virtual void sendFID(const FunctionID& name, const FIDParameterList& params) const = 0;
    virtual void subscribe(const FunctionID& name) const = 0;
    virtual void showState() const = 0;
};
