// MacroRecorder: recording of FIDs into a macro register.
#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "mfdconfighandler.h"
#include "panelkit/Assert.h"

bool MacroRecorder::onFIDRecordingStart(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int number = 0;
    if (!paraList->getValue("REG", number)) return false;
    if (number < 0 || number >= kMacroSlots) {
        s_pLog->level(oskit::LOG_WARN) << "recording: illegal macro # " << number << std::endl;
        return false;
    }

    {
        // The old commands go at once; the file stays until the recording stops.
        std::lock_guard<std::mutex> files(m_fileLock);
        m_recordingReg = number;
        m_recording = true;
        storeMacro(number, createMacro(number));
    }
    driveRecordingReg();
    driveMacroName(number);
    driveMacroEmptyFlag(number);
    return true;
}

bool MacroRecorder::onFIDRecordingStop(const FunctionID&, const FIDParameterList*)
{
    if (!m_recording.load()) return true;
    m_recording = false;
    const int number = m_recordingReg.load();
    {
        // The register may have been deleted while it recorded: nothing to save then.
        std::lock_guard<std::mutex> files(m_fileLock);
        std::unique_ptr<Macro> pMacro = copyMacro(number);
        if (pMacro)
            saveMacro(pMacro.get(), number);
        else
            s_pLog->level(oskit::LOG_ERROR) << "Ignoring macro save request: macro # " << number
                                            << " was deleted while recording" << std::endl;
    }
    m_recordingReg = -1;
    driveRecordingReg();
    return true;
}

bool MacroRecorder::recordFID(const FunctionID& name, const FIDParameterList& params)
{
    if (!m_recording.load()) return true;
    const int reg = m_recordingReg.load();
    if (reg < 0 || reg >= kMacroSlots || !hasMacro(reg)) return true;

    const std::string& prefix = m_pConfigHandler->m_statePrefix;
    // The first eleven characters decide whether the FID belongs to the macro system.
    if (name.compare(0, 11, prefix + ".MACRO") == 0) {
        if (name != delayFIDName()) return true;
    }
    if (name == prefix + ".SETVAR") return true;

    // A text the macro file can't keep would make the whole file unreadable:
    // that FID stays out, the recording goes on.
    const oskit::InputFile::EResult why = FIDMapHandler::checkStorableText(name, &params);
    if (why != oskit::InputFile::RESULT_OK) {
        const bool nameReadable = oskit::InputFile::checkText(name) == oskit::InputFile::RESULT_OK;
        s_pLog->level(oskit::LOG_WARN) << "MACRO RECORD refused " << (nameReadable ? name : std::string("FID"))
                                       << ": " << oskit::InputFile::describe(why) << " in its name or parameters"
                                       << std::endl;
        return false;
    }

    s_pLog->level(oskit::LOG_INFO) << "MACRO RECORD " << name << " params: " << params << " from widget "
                                   << params.sourceWidget << std::endl;

    std::lock_guard<std::mutex> guard(m_dataLock);
    if (Macro* pMacro = m_macros[static_cast<size_t>(reg)]) pMacro->commands.emplace_back(name, params);
    return true;
}

bool MacroRecorder::onFIDRecordFID(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string fid;
    if (!paraList->getValue("RECFID", fid)) {
        s_pLog->level(oskit::LOG_WARN) << "RecordFID: missing RECFID parameter" << std::endl;
        return false;
    }
    FIDParameterList copy(*paraList);
    copy.removeParameter("RECFID");
    return recordFID(fid, copy);
}

bool MacroRecorder::onFIDNameSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int number = 0;
    std::string newName;
    if (!paraList->getValue("REG", number) || !paraList->getValue("NAME", newName)) return false;
    if (number < kMacroMin || number > kMacroMax) return false;
    const oskit::InputFile::EResult why = oskit::InputFile::checkText(newName);
    if (why != oskit::InputFile::RESULT_OK) {
        s_pLog->level(oskit::LOG_WARN) << "set macro name: refused name for macro # " << number << ": "
                                       << oskit::InputFile::describe(why) << std::endl;
        return false;
    }
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        Macro* pMacro = m_macros[static_cast<size_t>(number)];
        if (!pMacro) return false;
        pMacro->name = newName;
    }
    saveRegister(number);
    driveMacroName(number);
    return true;
}
