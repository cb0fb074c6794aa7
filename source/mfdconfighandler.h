#pragma once

#include <mutex>
#include <string>

#include "panelmfd/IMFDConfiguration.h"

class FIDMapHandler;
class IMFDFramework;

// The endpoint of IMFDConfiguration (id 1201). It keeps the configuration the
// host delivers; the subsystems read m_statePrefix, m_dataDirectory and
// m_configDirectory directly.
//
// The configuration comes before initializationCompleted and stays as it is
// from then on, since the subsystems read it without a lock: a late
// setConfiguration, an initializationCompleted before any configuration and a
// second initializationCompleted are refused with a "PanelDriver" line.
class MFDConfigHandler : public IMFDConfiguration {
public:
    MFDConfigHandler();
    ~MFDConfigHandler() override;
    MFDConfigHandler(const MFDConfigHandler&) = delete;
    MFDConfigHandler& operator=(const MFDConfigHandler&) = delete;

    IInterface* queryInterface(unsigned int id) override;
    void setConfiguration(int driverNumber, const std::string& statePrefix, const std::string& dataDirectory,
                          const std::string& text1, const std::string& text2, const std::string& text3,
                          const std::string& configDirectory) override;
    void setPanelStateInterface(IPanelState* state) override;
    void setDistributorFIDInterface(IDistributorFID* distributor) override;
    void setSystemInterface(ISystem* system) override;
    void initializationCompleted() override;
    void deinitialize() override;
    void createFIDList() override;

    void showState() const;
    void changeConfiguration();

    // Set by MFDBase::create.
    FIDMapHandler* m_pMapHandler = nullptr;
    IMFDStatus* m_pIMFDStatus = nullptr;
    IMFDFramework* m_pFramework = nullptr;
    ISystem* m_pISystem = nullptr;
    int m_driverNumber = 0;
    std::string m_statePrefix;
    std::string m_dataDirectory;
    std::string m_configDirectory;
    std::string m_configText1;
    std::string m_configText3;
    std::string m_configText2;

private:
    enum class EPhase { UNCONFIGURED, CONFIGURED, INITIALIZING, INITIALIZED };
    static void refuse(const char* message);

    std::mutex m_phaseLock;
    EPhase m_phase = EPhase::UNCONFIGURED;
};
