#include "mfdconfighandler.h"

#include "fidmaphandler.h"
#include "mfdbase.h"
#include "panelsys/Logging.h"

MFDConfigHandler::MFDConfigHandler() = default;
MFDConfigHandler::~MFDConfigHandler() = default;

IInterface* MFDConfigHandler::queryInterface(unsigned int id)
{
    if (id == kIdMFDConfiguration) return static_cast<IInterface*>(this);
    return nullptr;
}

void MFDConfigHandler::refuse(const char* message)
{
    Norvane::Utilities::Logging::LogManager::getInstance().getCategory("PanelDriver").getErrorStream() << message;
}

void MFDConfigHandler::setConfiguration(int driverNumber, const std::string& statePrefix,
                                        const std::string& dataDirectory, const std::string& text1,
                                        const std::string& text2, const std::string& text3,
                                        const std::string& configDirectory)
{
    bool taken = false;
    {
        std::lock_guard<std::mutex> guard(m_phaseLock);
        if (m_phase == EPhase::UNCONFIGURED || m_phase == EPhase::CONFIGURED) {
            m_driverNumber = driverNumber;
            m_statePrefix = statePrefix;
            m_dataDirectory = dataDirectory;
            m_configText1 = text1;
            m_configText2 = text2;
            m_configText3 = text3;
            m_configDirectory = configDirectory;
            m_phase = EPhase::CONFIGURED;
            taken = true;
        }
    }
    if (!taken) {
        refuse("setConfiguration refused: the driver is initialized already and keeps its configuration");
        return;
    }
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
    EPhase found = EPhase::CONFIGURED;
    {
        std::lock_guard<std::mutex> guard(m_phaseLock);
        found = m_phase;
        if (found == EPhase::CONFIGURED) m_phase = EPhase::INITIALIZING;
    }
    if (found == EPhase::UNCONFIGURED) {
        refuse("initializationCompleted refused: no configuration yet (setConfiguration comes first)");
        return;
    }
    if (found != EPhase::CONFIGURED) {
        refuse("initializationCompleted refused: the driver is initialized already");
        return;
    }
    m_pFramework->completeInitialization();
    {
        std::lock_guard<std::mutex> guard(m_phaseLock);
        m_phase = EPhase::INITIALIZED;
    }
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
