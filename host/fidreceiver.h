#pragma once

// The host's FID receiver (the IFunctionID handed to the macro system). It
// records each FID in the "sent" stream as full name and parameters, and routes
// it: a name beginning with the module's prefix and "." goes back into the
// module's own IFunctionID::sendFID with the prefix taken off; any other name
// goes to the simulated mainframe driver named by its first word.

#include <condition_variable>
#include <mutex>
#include <string>

#include "panelmfd/IFunctionID.h"

namespace panelhost {

class Recorder;
class SimMainframe;

class FidReceiver : public IFunctionID {
public:
    FidReceiver(Recorder& recorder, SimMainframe& mainframe);

    void setPrefix(const std::string& prefix);
    // The module's own FID entry (id 1100); null while there is no module.
    // Setting null waits until FIDs routed into the module on other threads
    // have returned, so that the module may be destroyed right after (a
    // playing macro keeps sending until the module stops its threads; from
    // then on its FIDs are only recorded).
    void setModule(IFunctionID* module);

    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void sendFID(const FunctionID& name, const FIDParameterList& params) const override;
    void subscribe(const FunctionID& name) const override;
    void showState() const override;

private:
    Recorder& m_recorder;
    SimMainframe& m_mainframe;
    mutable std::mutex m_mutex;
    std::string m_prefix = "PANEL";
    mutable std::condition_variable m_idle;
    IFunctionID* m_module = nullptr;
    mutable int m_inFlight = 0;
};

} // namespace panelhost
