#include "mfdconfighandler.h"

#include "fidmaphandler.h"
#include "mfdbase.h"

MFDConfigHandler::MFDConfigHandler() = default;
MFDConfigHandler::~MFDConfigHandler() = default;

IInterface* MFDConfigHandler::queryInterface(unsigned int id)
{
    if (id == kIdMFDConfiguration) return static_cast<IInterface*>(this);
    return nullptr;
}

void MFDConfigHandler::setConfiguration(int driverNumber, const std::string& statePrefix,
                                        const std::string& dataDirectory, const std::string& text1,
                                        const std::string& text2, const std::string& text3,
                                        const std::string& configDirectory)
{
    m_driverNumber = driverNumber;
    m_statePrefix = statePrefix;
    m_dataDirectory = dataDirectory;
    m_configText1 = text1;
    m_configText2 = text2;
    m_configText3 = text3;
    m_configDirectory = configDirectory;
    if (m_pFramework) m_pFramework->completeConfiguration();
}

void MFDConfigHandler::setPanelStateInterface(IPanelState* state)
{
    if (m_pMapHandler) m_pMapHandler->setPanelStateInterface(state);
}

void MFDConfigHandler::setDistributorFIDInterface(IDistributorFID* distributor)
{
    if (m_pMapHandler) m_pMapHandler->setDistributorFIDInterface(distributor);
}

void MFDConfigHandler::setSystemInterface(ISystem* system) { m_pISystem = system; }

void MFDConfigHandler::initializationCompleted()
{
    if (!m_pFramework) return;
    m_pFramework->completeInitialization();
    // Published only after the driver has built its subsystems.
    if (m_pMapHandler) m_pMapHandler->setStateValue("LOADED", "");
}

void MFDConfigHandler::deinitialize()
{
    if (m_pFramework) m_pFramework->deinitialize();
}

void MFDConfigHandler::createFIDList() {}
void MFDConfigHandler::showState() const {}
void MFDConfigHandler::changeConfiguration() {}
