#include "panelmfd.h"

#include "macrosystem.h"
#include "panelsettings.h"
#include "pmemsystem.h"

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
    if (m_pMacroSystem) {
        switch (step) {
        case EBracket::LoadPrepare:
            m_pMacroSystem->prepareAppliLoad();
            break;
        case EBracket::LoadFinish:
            m_pMacroSystem->finishAppliLoad();
            break;
        case EBracket::SavePrepare:
            m_pMacroSystem->prepareAppliSave();
            break;
        case EBracket::SaveFinish:
            m_pMacroSystem->finishAppliSave();
            break;
        }
    }
    if (m_pPmemSystem) {
        switch (step) {
        case EBracket::LoadPrepare:
            m_pPmemSystem->prepareAppliLoad();
            break;
        case EBracket::LoadFinish:
            m_pPmemSystem->finishAppliLoad();
            break;
        case EBracket::SavePrepare:
            m_pPmemSystem->prepareAppliSave();
            break;
        case EBracket::SaveFinish:
            m_pPmemSystem->finishAppliSave();
            break;
        }
    }
}
