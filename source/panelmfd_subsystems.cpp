#include "panelmfd.h"

#include "panelsettings.h"

void PanelMFD::createSubsystems()
{
    m_pPanelSettings = new PanelSettings(m_pMapHandler, m_pConfigHandler);
}

void PanelMFD::destroySubsystems()
{
    delete m_pPanelSettings;
    m_pPanelSettings = nullptr;
}

IInterface* PanelMFD::macroSystemInterface() { return nullptr; }

void PanelMFD::bracketSubsystems(EBracket) {}
