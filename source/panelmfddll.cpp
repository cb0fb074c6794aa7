#include "panelmfddll.h"

#include <memory>

#include "moduleconstants.h"
#include "panelmfd.h"
#include "panelmfd/host.h"

const std::string kMacroDirectoryName = "macro";
const std::string kMacroFileExtension = ".mac";
const std::string kMacroAttachFileName = "attach.xml";

PanelMFDModule::PanelMFDModule() = default;

PanelMFDModule::~PanelMFDModule()
{
    delete m_pPanelMFD;
    m_pPanelMFD = nullptr;
}

IInterface* PanelMFDModule::queryInterface(unsigned int id)
{
    return m_pPanelMFD ? m_pPanelMFD->queryInterface(id) : nullptr;
}

void PanelMFDModule::onLoad() {}
void PanelMFDModule::onUnload() {}

void PanelMFDModule::init()
{
    m_pPanelMFD = new PanelMFD();
    m_pPanelMFD->init();
}

extern "C" PANEL_API oskit::Module* onCreateModule()
{
    auto module = std::make_unique<PanelMFDModule>();
    module->init();
    return module.release();
}
