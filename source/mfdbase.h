#pragma once

#include <string>

#include "panelmfd/HostInterfaces.h"
#include "panelmfd/IInterface.h"

class FIDMapHandler;
class MFDConfigHandler;

class Component : public virtual IInterface {};

// The framework side of a driver, which the configuration handler drives.
class IMFDFramework : public virtual IInterface {
public:
    virtual void completeConfiguration() = 0;
    virtual void completeInitialization() = 0;
    virtual void deinitialize() = 0;
    virtual void subscribePanelState(const std::string& key) const = 0;
};

// The generic driver base: owns the configuration handler and the FID registry.
class MFDBase : public Component, public IMFDFramework {
public:
    MFDBase();
    ~MFDBase() override;
    MFDBase(const MFDBase&) = delete;
    MFDBase& operator=(const MFDBase&) = delete;

    IInterface* queryInterface(unsigned int id) override;
    virtual void init();
    virtual void setMFDStatusInterface(IMFDStatus* status);
    virtual void showState() const;

    void completeConfiguration() override;
    void completeInitialization() override;
    void deinitialize() override;
    void subscribePanelState(const std::string& key) const override;

    FIDMapHandler* getMapHandler() const { return m_pMapHandler; }
    MFDConfigHandler* getConfigHandler() const { return m_pConfigHandler; }

protected:
    MFDConfigHandler* m_pConfigHandler = nullptr;
    FIDMapHandler* m_pMapHandler = nullptr;

private:
    void create();
};
