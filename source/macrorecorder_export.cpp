// MacroRecorder: export of a macro to a mainframe driver.
#include "macrorecorder.h"
#include "mfdconfighandler.h"
#include "panelkit/Assert.h"

bool MacroRecorder::onFIDExport(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int number = 0;
    std::string driverID;
    if (!paraList->getValue("REG", number) || !paraList->getValue("MFD", driverID)) return false;
    if (number < kMacroMin || number > kMacroMax) return false;

    IFunctionID* receiver = m_pFIDReceiver.load();
    PANEL_ASSERT(receiver, "m_pFIDReceiver");

    FIDParameterList bracket(*paraList);
    bracket.removeParameter("REG");
    bracket.removeParameter("MFD");
    receiver->sendFID(driverID + ".MACROEXPORT.START", bracket);
    exportMacro(number, driverID);
    receiver->sendFID(driverID + ".MACROEXPORT.STOP", bracket);
    return true;
}

void MacroRecorder::exportMacro(int macroNumber, const std::string& driverID)
{
    IFunctionID* receiver = m_pFIDReceiver.load();
    PANEL_ASSERT(receiver, "m_pFIDReceiver");
    PANEL_ASSERT(macroNumber >= kMacroMin && macroNumber <= kMacroMax,
                 "macroNumber >= kMacroMin && macroNumber <= kMacroMax");

    s_pLog->level(oskit::LOG_INFO) << "exporting macro # " << macroNumber << " to driverID " << driverID << std::endl;

    // A copy, so that the commands go out without a lock held.
    std::unique_ptr<Macro> pMacro = copyMacro(macroNumber);
    if (pMacro) {
        const std::string delayName = delayFIDName();
        for (const auto& command : pMacro->commands) {
            if (command.fid == delayName) {
                s_pLog->level(oskit::LOG_DEBUG) << "macro export: insert delay" << std::endl;
                receiver->sendFID(driverID + ".MACROEXPORT.INSERT_DELAY", command.params);
            } else if (command.fid.compare(0, driverID.size(), driverID) == 0) {
                s_pLog->level(oskit::LOG_DEBUG) << "macro export: send fid " << command.fid
                                                << " params: " << command.params << " from widget "
                                                << command.params.sourceWidget << std::endl;
                receiver->sendFID(command.fid, command.params);
            }
        }
    }

    s_pLog->level(oskit::LOG_INFO) << "exporting macro # " << macroNumber << " done." << std::endl;
}
