#pragma once

#include "oskit/Module.h"

class PanelMFD;

// The module object that onCreateModule hands to the host.
class PanelMFDModule : public oskit::Module {
public:
    PanelMFDModule();
    ~PanelMFDModule() override;
    PanelMFDModule(const PanelMFDModule&) = delete;
    PanelMFDModule& operator=(const PanelMFDModule&) = delete;

    IInterface* queryInterface(unsigned int id) override;
    void onLoad() override;
    void onUnload() override;

    // Builds the driver.
    void init();

private:
    PanelMFD* m_pPanelMFD = nullptr;
};
