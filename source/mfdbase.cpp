#include "mfdbase.h"

#include "fidmaphandler.h"
#include "mfdconfighandler.h"

MFDBase::MFDBase() { create(); }

MFDBase::~MFDBase()
{
    delete m_pConfigHandler;
    m_pConfigHandler = nullptr;
    delete m_pMapHandler;
    m_pMapHandler = nullptr;
}

void MFDBase::create()
{
    m_pConfigHandler = new MFDConfigHandler();
    try {
        m_pMapHandler = new FIDMapHandler();
    } catch (...) {
        delete m_pConfigHandler;
        m_pConfigHandler = nullptr;
        throw;
    }
    m_pConfigHandler->m_pMapHandler = m_pMapHandler;
    m_pConfigHandler->m_pFramework = this;
}

IInterface* MFDBase::queryInterface(unsigned int id)
{
    if (id == kIdFunctionID && m_pMapHandler) {
        if (auto* fid = dynamic_cast<IFunctionID*>(m_pMapHandler->queryInterface(id)))
            return static_cast<IInterface*>(fid);
        return nullptr;
    }
    if (id == kIdMFDConfiguration && m_pConfigHandler) {
        if (auto* cfg = dynamic_cast<IMFDConfiguration*>(m_pConfigHandler->queryInterface(id)))
            return static_cast<IInterface*>(cfg);
        return nullptr;
    }
    return nullptr;
}

void MFDBase::init() {}

void MFDBase::setMFDStatusInterface(IMFDStatus* status)
{
    if (m_pConfigHandler) m_pConfigHandler->m_pIMFDStatus = status;
}

void MFDBase::showState() const
{
    if (m_pConfigHandler) m_pConfigHandler->showState();
}

void MFDBase::completeConfiguration() {}
void MFDBase::completeInitialization() {}
void MFDBase::deinitialize() {}
void MFDBase::subscribePanelState(const std::string&) const {}
