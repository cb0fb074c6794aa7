#include "macrosystem.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "mfdconfighandler.h"
#include "moduleconstants.h"
#include "oskit/Directory.h"
#include "oskit/Path.h"
#include "panelkit/Assert.h"

namespace {
const char* const kRows[] = {"ROW1", "ROW2", "ROW3", "ROW4"};
const char* const kPlaces[] = {"1ST", "2ND", "3RD", "4TH"};
const int kSetSteps[] = {12, 22, 32};
// The highest workplace id a macro directory may name.
constexpr long kMaxWorkplaceId = 1023;
} // namespace

MacroSystem::MacroSystem(FIDMapHandler* pMapHandler, MFDConfigHandler* pConfigHandler)
    : m_pMapHandler(pMapHandler), m_pConfigHandler(pConfigHandler)
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    PANEL_ASSERT(m_pConfigHandler, "m_pConfigHandler");
    oskit::CmdProcessor::getInstance()->registerCmd(new oskit::CmdRegisterImpl<MacroSystem>(
        "macroShow", "macroShow <workplace id>\n\tshow status of macro system of the specified workplace", this,
        &MacroSystem::shellCmdMacroShow));
    init();
}

MacroSystem::~MacroSystem()
{
    oskit::CmdProcessor::getInstance()->unregisterObject(this);
    if (m_pMapHandler) m_pMapHandler->unregisterObject(this);

    std::vector<MacroRecorder*> owned;
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_made.wait(guard, [this] { return m_making.empty(); });
        owned.swap(m_recorders);
        m_pWidgetControl = nullptr;
        m_pFIDReceiver = nullptr;
        m_pPanelEvent = nullptr;
        m_pPSPublisher = nullptr;
    }
    for (MacroRecorder* recorder : owned) delete recorder;
    m_pMapHandler = nullptr;
    m_pConfigHandler = nullptr;
}

IInterface* MacroSystem::queryInterface(unsigned int id)
{
    return id == kIdMacroSystem ? this : nullptr;
}

// ---- recorders -------------------------------------------------------------------------------

MacroRecorder* MacroSystem::findRecorder(unsigned int workplace) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return workplace < m_recorders.size() ? m_recorders[workplace] : nullptr;
}

size_t MacroSystem::recorderSlots() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_recorders.size();
}

bool MacroSystem::othersMaking() const
{
    for (const auto& making : m_making)
        if (making.second != std::this_thread::get_id()) return true;
    return false;
}

std::vector<MacroRecorder*> MacroSystem::recorders() const
{
    std::unique_lock<std::mutex> guard(m_lock);
    m_made.wait(guard, [this] { return !othersMaking(); });
    return m_recorders;
}

MacroRecorder* MacroSystem::getRecorder(unsigned int workplace)
{
    std::unique_lock<std::mutex> guard(m_lock);
    for (;;) {
        if (workplace < m_recorders.size() && m_recorders[workplace]) return m_recorders[workplace];
        auto making = m_making.find(workplace);
        if (making == m_making.end()) break;
        if (making->second == std::this_thread::get_id()) {
            guard.unlock();
            MacroRecorder::initLog();
            MacroRecorder::s_pLog->level(oskit::LOG_WARN)
                << "macro recorder of workplace " << workplace << " asked for while it is being made" << std::endl;
            return nullptr;
        }
        m_made.wait(guard);
    }
    if (workplace >= m_recorders.size()) m_recorders.resize(static_cast<size_t>(workplace) + 1, nullptr);
    m_making.emplace(workplace, std::this_thread::get_id());
    // An interface handed in meanwhile reaches this recorder too: the setters
    // wait for the recorders in the making.
    MacroRecorder::StartInterfaces interfaces;
    interfaces.receiver = m_pFIDReceiver;
    interfaces.widgetControl = m_pWidgetControl;
    interfaces.panelEvent = m_pPanelEvent;
    interfaces.publisher = m_pPSPublisher;
    guard.unlock();

    auto* recorder = new MacroRecorder(workplace, m_pMapHandler, m_pConfigHandler, interfaces);
    guard.lock();
    m_recorders[workplace] = recorder;
    m_making.erase(workplace);
    guard.unlock();
    m_made.notify_all();
    return recorder;
}

// ---- forwarders ------------------------------------------------------------------------------

bool MacroSystem::isInReplaceMode(const UniqueWidgetID& widget)
{
    MacroRecorder* recorder = getRecorder(widget.getWorkplaceID());
    return recorder ? recorder->isInReplaceMode(widget) : false;
}

bool MacroSystem::execPreMacro(const UniqueWidgetID& widget)
{
    MacroRecorder* recorder = getRecorder(widget.getWorkplaceID());
    return recorder ? recorder->execPreMacro(widget) : false;
}

bool MacroSystem::execReplaceMacro(const UniqueWidgetID& widget)
{
    MacroRecorder* recorder = getRecorder(widget.getWorkplaceID());
    return recorder ? recorder->execReplaceMacro(widget) : false;
}

void MacroSystem::execPostMacro(const UniqueWidgetID& widget)
{
    if (MacroRecorder* recorder = getRecorder(widget.getWorkplaceID())) recorder->execPostMacro(widget);
}

void MacroSystem::completePreMacro(const UniqueWidgetID& widget)
{
    if (MacroRecorder* recorder = getRecorder(widget.getWorkplaceID())) recorder->completePreMacro(widget);
}

bool MacroSystem::hasReplaceMacro(const UniqueWidgetID& widget)
{
    MacroRecorder* recorder = getRecorder(widget.getWorkplaceID());
    return recorder ? recorder->hasReplaceMacro(widget) : false;
}

void MacroSystem::setMacroLevel(const UniqueWidgetID& widget, const std::string& level)
{
    if (MacroRecorder* recorder = getRecorder(widget.getWorkplaceID())) recorder->setMacroLevel(widget, level);
}

std::string MacroSystem::getMacroLevel(const UniqueWidgetID& widget)
{
    MacroRecorder* recorder = getRecorder(widget.getWorkplaceID());
    return recorder ? recorder->getMacroLevel(widget) : std::string();
}

void MacroSystem::onButtonDown(const UniqueWidgetID& widget)
{
    if (MacroRecorder* recorder = getRecorder(widget.getWorkplaceID())) recorder->onButtonDown(widget);
}

void MacroSystem::onButtonHold(const UniqueWidgetID& widget)
{
    if (MacroRecorder* recorder = getRecorder(widget.getWorkplaceID())) recorder->onButtonHold(widget);
}

void MacroSystem::onButtonRelease(const UniqueWidgetID& widget)
{
    if (MacroRecorder* recorder = getRecorder(widget.getWorkplaceID())) recorder->onButtonRelease(widget);
}

void MacroSystem::recordFID(const FunctionID& name, const FIDParameterList& params)
{
    if (MacroRecorder* recorder = getRecorder(params.sourceWidget.getWorkplaceID())) recorder->recordFID(name, params);
}

void MacroSystem::setWidgetControlInterface(IWidgetControl* control)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_pWidgetControl = control;
    }
    for (MacroRecorder* recorder : recorders())
        if (recorder) recorder->setWidgetControlInterface(control);
}

void MacroSystem::setFIDReceiverInterface(IFunctionID* receiver)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_pFIDReceiver = receiver;
    }
    for (MacroRecorder* recorder : recorders())
        if (recorder) recorder->setFIDReceiverInterface(receiver);
}

void MacroSystem::setPanelEventInterface(IPanelEvent* panelEvent)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_pPanelEvent = panelEvent;
    }
    for (MacroRecorder* recorder : recorders())
        if (recorder) recorder->setPanelEventInterface(panelEvent);
}

void MacroSystem::setPSPublisherInterface(IPSPublisher* publisher)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_pPSPublisher = publisher;
    }
    for (MacroRecorder* recorder : recorders())
        if (recorder) recorder->setPSPublisherInterface(publisher);
}

// ---- application bracket ---------------------------------------------------------------------

void MacroSystem::prepareAppliLoad()
{
    for (MacroRecorder* recorder : recorders())
        if (recorder) recorder->prepareAppliLoad();
}

void MacroSystem::finishAppliLoad()
{
    for (MacroRecorder* recorder : recorders()) {
        if (!recorder) continue;
        recorder->finishAppliLoad();
        recorder->reinit();
    }
    init();
}

void MacroSystem::prepareAppliSave()
{
    for (MacroRecorder* recorder : recorders())
        if (recorder) recorder->prepareAppliSave();
}

void MacroSystem::finishAppliSave()
{
    for (MacroRecorder* recorder : recorders())
        if (recorder) recorder->finishAppliSave();
}

// ---- directory scan and assignment tables ----------------------------------------------------

void MacroSystem::init()
{
    oskit::Path macroRoot(m_pConfigHandler->m_dataDirectory);
    macroRoot.expand(kMacroDirectoryName);
    for (const auto& name : oskit::Directory(macroRoot).getDirList(0)) {
        // "workplace" and a number; whatever follows the number is ignored.
        if (name.compare(0, 9, "workplace") != 0) continue;
        const char* digits = name.c_str() + 9;
        char* end = nullptr;
        const long id = std::strtol(digits, &end, 10);
        if (end == digits) continue;
        if (id < 0 || id > kMaxWorkplaceId) {
            MacroRecorder::initLog();
            MacroRecorder::s_pLog->level(oskit::LOG_WARN)
                << "Skipping macro directory " << name << ": workplace id out of range" << std::endl;
            continue;
        }
        getRecorder(static_cast<unsigned>(id));
    }

    for (int set = 1; set <= 3; ++set) {
        const int step = kSetSteps[set - 1];
        const std::string base = "ASSIGNMENT.SET" + std::to_string(set) + ".MACRO.";
        auto grid = [&](const std::string& panel) {
            std::vector<std::string> keys;
            int serial = 0;
            for (const char* row : kRows)
                for (const char* place : kPlaces) {
                    const std::string key = base + "OFFSET." + panel + "." + row + "." + place;
                    m_pMapHandler->setStateValueInt(key, 1 + step * serial++);
                    keys.push_back(key);
                }
            for (const auto& key : keys)
                m_pMapHandler->registerFunction(key + ".SET", this, &MacroSystem::onFIDAssignmentChange);
        };
        for (int panel = 1; panel <= 4; ++panel) grid("PANELME" + std::to_string(panel));
        grid("AUXPANEL");

        m_pMapHandler->setStateValueInt(base + "BUTTON.3RD", step + 1);
        m_pMapHandler->setStateValueInt(base + "BUTTON.2ND", step + 2);
        m_pMapHandler->setStateValueInt(base + "BUTTON.RDEL", step + 3);
        m_pMapHandler->setStateValue(base + "BUTTON.4TH", "INV");
        for (const char* button : {"BUTTON.3RD", "BUTTON.2ND", "BUTTON.RDEL", "BUTTON.4TH"})
            m_pMapHandler->registerFunction(base + button + ".SET", this, &MacroSystem::onFIDAssignmentChange);
    }
}

bool MacroSystem::onFIDAssignmentChange(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    if (!m_pMapHandler) return true;
    std::string offset;
    if (!paraList->getValue("OFFSET", offset)) return true;
    if (name.size() < 4) return true;
    m_pMapHandler->setStateValue(name.substr(0, name.size() - 4), offset);
    return true;
}

// ---- console ---------------------------------------------------------------------------------

bool MacroSystem::shellCmdMacroShow(oskit::CmdParameters& params)
{
    if (params.argumentCount() < 1) {
        std::cout << "Usage: macroShow <workplace id>" << std::endl;
        return false;
    }
    const long workplace = std::strtol(params.argument(0).c_str(), nullptr, 10);
    MacroRecorder* recorder = nullptr;
    if (workplace >= 0 && static_cast<unsigned long>(workplace) < recorderSlots())
        recorder = findRecorder(static_cast<unsigned>(workplace));
    if (recorder) {
        recorder->show();
        return true;
    }
    std::cout << "no macro recorder active for workplace " << workplace << std::endl;
    return false;
}
