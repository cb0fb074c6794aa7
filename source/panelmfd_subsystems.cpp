#include "panelmfd.h"

#include "macrosystem.h"
#include "panelsettings.h"
#include "pmemsystem.h"

namespace {

// One step of the application bracket on a subsystem, if it exists.
template <class System, class Step>
void bracketStep(System* system, Step step)
{
    if (!system) return;
    switch (step) {
    case Step::LoadPrepare:
        system->prepareAppliLoad();
        break;
    case Step::LoadFinish:
        system->finishAppliLoad();
        break;
    case Step::SavePrepare:
        system->prepareAppliSave();
        break;
    case Step::SaveFinish:
        system->finishAppliSave();
        break;
    }
}

} // namespace

void PanelMFD::createSubsystems()
{
    m_pMacroSystem = new MacroSystem(m_pMapHandler, m_pConfigHandler);
    m_pPmemSystem = new PmemSystem(m_pMapHandler, m_pConfigHandler, PmemSystem::PMEM_TYPE_TEXT);
    m_pPanelSettings = new PanelSettings(m_pMapHandler, m_pConfigHandler);
}

void PanelMFD::destroySubsystems()
{
    delete m_pMacroSystem;
    m_pMacroSystem = nullptr;
    delete m_pPmemSystem;
    m_pPmemSystem = nullptr;
    delete m_pPanelSettings;
    m_pPanelSettings = nullptr;
}

IInterface* PanelMFD::macroSystemInterface()
{
    return m_pMacroSystem ? m_pMacroSystem->queryInterface(kIdMacroSystem) : nullptr;
}

void PanelMFD::bracketSubsystems(EBracket step)
{
    bracketStep(m_pMacroSystem, step);
    bracketStep(m_pPmemSystem, step);
}
