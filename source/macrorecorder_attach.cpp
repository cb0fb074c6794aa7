// MacroRecorder: the attachment store of the buttons, its file attach.xml, the
// FIDs that change it, and the blinking of attached buttons.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <tinyxml.h>

#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "moduleconstants.h"
#include "oskit/Time.h"
#include "panelkit/Assert.h"
#include "panelsys/WholeFileWriter.h"
#include "panelsys/XMLInput.h"
#include "panelsys/XMLVerify.h"

namespace {

const char* const kBlinkLayer = "ATBL";

// The decimal value of an attribute as an int; no number, or one beyond an int, reads as 0.
int attributeInt(const char* text)
{
    if (!text) return 0;
    errno = 0;
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || errno == ERANGE || value < INT_MIN || value > INT_MAX) return 0;
    return static_cast<int>(value);
}

// A widget id field: the decimal value wrapped into 32 bits, never undefined.
unsigned attributeField(const char* text)
{
    if (!text) return 0;
    const long value = std::strtol(text, nullptr, 10);
    return static_cast<unsigned>(static_cast<unsigned long>(value));
}

std::string widgetText(const UniqueWidgetID& id)
{
    std::ostringstream os;
    os << id;
    return os.str();
}

// Saves of attach.xml one after the other, so that the newest picture is the one that stays.
std::mutex s_attachSaveLock;

} // namespace

// ---- Widget ----------------------------------------------------------------------------------

std::string MacroRecorder::attachKey(unsigned int workplace, const UniqueWidgetID& id, const std::string& level,
                                     Widget::EMacroType type)
{
    std::string key = "MACRO" + std::to_string(workplace) + ".ATTACH." + widgetText(id) + ".";
    if (!level.empty()) key += level + ".";
    return key + s_sidMacroTypeNames[static_cast<size_t>(type)];
}

int MacroRecorder::Widget::xmlRead(TiXmlNode* node, const UniqueWidgetID& id, FIDMapHandler* handler)
{
    int count = 0;
    for (TiXmlNode* child = node->FirstChild(); child; child = child->NextSibling()) {
        TiXmlElement* element = child->ToElement();
        if (!element) return -1;
        const char* levelText = element->Attribute("level");
        const std::string level = levelText ? levelText : "";
        const int macro = attributeInt(element->Attribute("macro"));

        int kind = -1;
        for (int k = 0; k < kMacroTypeCount; ++k)
            if (std::string(element->Value()) == s_xmlMacroTypeNames[k]) kind = k;
        if (kind < 0) continue;

        m_attached[static_cast<size_t>(kind)][level] = macro;
        if (kind == REPLACE) m_hasReplace[level] = true;
        if (handler)
            handler->setStateValueInt(attachKey(id.getWorkplaceID(), id, level, static_cast<EMacroType>(kind)), macro);
        ++count;
    }
    return count;
}

int MacroRecorder::Widget::xmlWrite(TiXmlElement& element) const
{
    int count = 0;
    for (int kind = 0; kind < kMacroTypeCount; ++kind) {
        for (const auto& [level, macro] : m_attached[static_cast<size_t>(kind)]) {
            auto* child = new TiXmlElement(s_xmlMacroTypeNames[kind]);
            child->SetAttribute("level", level.c_str());
            child->SetAttribute("macro", macro);
            element.LinkEndChild(child);
            ++count;
        }
    }
    return count;
}

void MacroRecorder::Widget::detachAllMacros(const UniqueWidgetID& id, FIDMapHandler* handler)
{
    for (int kind = 0; kind < kMacroTypeCount; ++kind) {
        auto& attached = m_attached[static_cast<size_t>(kind)];
        if (handler)
            for (const auto& entry : attached)
                handler->unsetStateValue(attachKey(id.getWorkplaceID(), id, entry.first, static_cast<EMacroType>(kind)));
        attached.clear();
    }
    m_hasReplace.clear();
}

bool MacroRecorder::findWidget(const UniqueWidgetID& id, Widget& copy) const
{
    std::lock_guard<std::mutex> guard(m_dataLock);
    auto it = m_widgets.find(id);
    if (it == m_widgets.end()) return false;
    copy = it->second;
    return true;
}

// ---- the store -------------------------------------------------------------------------------

void MacroRecorder::attachDetachMacro(const UniqueWidgetID& id, int macroNumber, Widget::EMacroType type, bool detach)
{
    attachDetachMacroAndFlag(id, macroNumber, type, detach, false);
}

void MacroRecorder::attachDetachMacroAndFlag(const UniqueWidgetID& id, int macroNumber, Widget::EMacroType type,
                                             bool detach, bool replaceFlag)
{
    if (m_loadSaveInProgress.load()) {
        s_pLog->level(oskit::LOG_ERROR) << "Ignoring macro attach/detach request: application load/save in progress"
                                        << std::endl;
        return;
    }
    std::string level;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        level = m_widgets[id].m_level;
    }
    const std::string key = attachKey(m_workplace, id, level, type);

    if (detach) {
        // The attributes to take off are decided in the same hold as the
        // removal, so that no repaint in between paints the attachment again.
        uint64_t ticket = 0;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            AttributeCalls calls;
            if (type == Widget::REPLACE && m_attachmentsActive.load()) decideHideReplaceLocked(id, calls);
            ticket = queuePaintLocked(std::move(calls));
            Widget& widget = m_widgets[id];
            widget.m_attached[static_cast<size_t>(type)].erase(widget.m_level);
            if (replaceFlag) widget.updateReplaceMacro();
        }
        paintUpTo(ticket);
        m_pMapHandler->unsetStateValue(key);
        m_pMapHandler->triggerEvent(keyPrefix() + ".DETACH.COMPLETE", std::to_string(id.getWidgetID()));
    } else {
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            Widget& widget = m_widgets[id];
            widget.m_attached[static_cast<size_t>(type)][widget.m_level] = macroNumber;
            if (replaceFlag) widget.updateReplaceMacro();
        }
        m_pMapHandler->setStateValueInt(key, macroNumber);
        if (type == Widget::REPLACE && m_attachmentsActive.load()) {
            uint64_t ticket = 0;
            {
                std::lock_guard<std::mutex> guard(m_dataLock);
                m_widgets[id].updateReplaceMacro();
                AttributeCalls calls;
                decideShowReplaceLocked(id, true, calls);
                ticket = queuePaintLocked(std::move(calls));
            }
            paintUpTo(ticket);
        }
    }
    updateAttachBlink(id);
    saveAttachments();
}

void MacroRecorder::detachAllMacros()
{
    std::vector<UniqueWidgetID> ids;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        for (const auto& [id, widget] : m_widgets)
            if (widget.hasAttachments()) ids.push_back(id);
    }
    for (const auto& id : ids) {
        // The attributes to take off are decided with the emptying of the maps;
        // the keys are unset from a copy, without the lock.
        Widget detached;
        uint64_t ticket = 0;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            AttributeCalls calls;
            decideHideReplaceLocked(id, calls);
            ticket = queuePaintLocked(std::move(calls));
            Widget& widget = m_widgets[id];
            detached.m_attached = widget.m_attached;
            widget.detachAllMacros(id, nullptr);
        }
        paintUpTo(ticket);
        detached.detachAllMacros(id, m_pMapHandler);
        if (m_attachViewOn.load()) setAttachBlinkOff(id);
    }
    m_pMapHandler->setStateValueInt(keyPrefix() + ".ATTACHCOUNT", 0);
}

void MacroRecorder::saveAttachments()
{
    oskit::Path path(m_path);
    path.expand(kMacroAttachFileName);
    const std::string target = path.getPath();

    int count = 0;
    bool saved = false;
    {
        std::lock_guard<std::mutex> saveGuard(s_attachSaveLock);
        TiXmlDocument doc;
        doc.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
        auto* root = new TiXmlElement("attachments");
        root->SetAttribute("xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance");
        root->SetAttribute("xsi:noNamespaceSchemaLocation", "../attach.xsd");
        root->SetAttribute("version", "0.1");
        root->SetAttribute("date", oskit::Time::getCurrentTime().format("%Y-%m-%dT%H:%M:%S").c_str());
        doc.LinkEndChild(root);
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            for (const auto& [id, widget] : m_widgets) {
                if (!widget.hasAttachments()) continue;
                auto* element = new TiXmlElement("widget");
                element->SetAttribute("workplace", static_cast<int>(id.getWorkplaceID()));
                element->SetAttribute("group", static_cast<int>(id.getGroupID()));
                element->SetAttribute("module", static_cast<int>(id.getModuleID()));
                element->SetAttribute("widget", static_cast<int>(id.getWidgetID()));
                count += widget.xmlWrite(*element);
                root->LinkEndChild(element);
            }
        }

        // Written whole beside the target, signed there, then renamed over it.
        TiXmlPrinter printer;
        doc.Accept(&printer);
        saved = WholeFileWriter::writeXml(target, printer.Str(), WholeFileWriter::ESigning::kSigned);
    }
    if (!saved)
        s_pLog->level(oskit::LOG_ERROR) << "Failed to save macro attachments file " << target << std::endl;
    m_pMapHandler->setStateValueInt(keyPrefix() + ".ATTACHCOUNT", count);
}

void MacroRecorder::loadAttachments()
{
    detachAllMacros();

    oskit::Path path(m_path);
    path.expand(kMacroAttachFileName);
    const std::string file = path.getPath();

    // A workplace without attachments has no file; a file that is refused or
    // doesn't parse counts as none.
    // Read once: parsed and its signature checked from the same bytes.
    TiXmlDocument doc;
    std::string bytes;
    const oskit::InputFile::EResult why = oskit::InputFile::readXml(file, bytes);
    if (why != oskit::InputFile::RESULT_OK || !XMLInput::parse(doc, bytes)) {
        if (oskit::InputFile::isRefusal(why))
            s_pLog->level(oskit::LOG_ERROR) << "Refused macro attachments file " << file << ": "
                                            << oskit::InputFile::describe(why) << std::endl;
        return;
    }

    if (!XMLVerify().verifySignatureOfBytes(bytes))
        s_pLog->level(oskit::LOG_WARN) << "Macro attachments file " << file << " has invalid signature" << std::endl;

    TiXmlElement* root = doc.FirstChildElement();
    if (!root || std::string(root->Value()) != "attachments") {
        s_pLog->level(oskit::LOG_ERROR) << "Macro attachments file " << file
                                        << " has invalid format (no attachments element) in line "
                                        << (root ? root->Row() : -1) << std::endl;
        return;
    }

    int count = 0;
    for (TiXmlNode* node = root->FirstChild(); node; node = node->NextSibling()) {
        TiXmlElement* element = node->ToElement();
        if (!element || std::string(element->Value()) != "widget") {
            s_pLog->level(oskit::LOG_ERROR) << "Macro attachments file " << file
                                            << " has invalid format (widget element missing) in line "
                                            << root->Row() << std::endl;
            return;
        }
        const UniqueWidgetID id(attributeField(element->Attribute("workplace")),
                                attributeField(element->Attribute("group")),
                                attributeField(element->Attribute("module")),
                                attributeField(element->Attribute("widget")));
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            if (m_disabledWidgets.count(id)) continue;
        }

        // Read into a scratch object (its keys go out without the lock), then merged.
        Widget read;
        const int result = read.xmlRead(element, id, m_pMapHandler);
        uint64_t ticket = 0;
        {
            std::lock_guard<std::mutex> guard(m_dataLock);
            Widget& widget = m_widgets[id];
            for (size_t kind = 0; kind < read.m_attached.size(); ++kind)
                for (const auto& [level, macro] : read.m_attached[kind]) widget.m_attached[kind][level] = macro;
            for (const auto& [level, flag] : read.m_hasReplace) widget.m_hasReplace[level] = flag;
            AttributeCalls calls;
            if (m_attachViewOn.load()) {
                decideAttachBlinkLocked(id, true, calls);
                decideUpdateAttachBlinkLocked(id, calls);
            }
            decideShowReplaceLocked(id, false, calls);
            ticket = queuePaintLocked(std::move(calls));
        }
        paintUpTo(ticket);
        if (result < 0) {
            s_pLog->level(oskit::LOG_ERROR) << "Macro attachments file " << file << " has invalid format in line "
                                            << root->Row() << std::endl;
            return;
        }
        count += result;
    }
    m_pMapHandler->setStateValueInt(keyPrefix() + ".ATTACHCOUNT", count);
}

// ---- blinking --------------------------------------------------------------------------------

void MacroRecorder::decideAttachBlinkLocked(const UniqueWidgetID& id, bool on, AttributeCalls& calls) const
{
    if (!m_pWidgetControl.load()) return;
    if (on) {
        calls.push_back({AttributeCall::SET, kBlinkLayer, id, "ACTIVE", "TRUE"});
        calls.push_back({AttributeCall::SET, kBlinkLayer, id, "BLINK", "FAST"});
    } else {
        calls.push_back({AttributeCall::CLEAR, kBlinkLayer, id, "ACTIVE", std::string()});
        calls.push_back({AttributeCall::CLEAR, kBlinkLayer, id, "BLINK", std::string()});
    }
}

void MacroRecorder::decideUpdateAttachBlinkLocked(const UniqueWidgetID& id, AttributeCalls& calls) const
{
    if (!m_attachViewOn.load()) return;
    bool attached = false;
    auto it = m_widgets.find(id);
    if (it != m_widgets.end())
        for (int kind = 0; kind < Widget::kMacroTypeCount; ++kind)
            if (it->second.getMacro(static_cast<Widget::EMacroType>(kind)) > 0) attached = true;
    decideAttachBlinkLocked(id, attached, calls);
}

void MacroRecorder::setAttachBlinkOn(const UniqueWidgetID& id)
{
    paintDecided([&](AttributeCalls& calls) { decideAttachBlinkLocked(id, true, calls); });
}

void MacroRecorder::setAttachBlinkOff(const UniqueWidgetID& id)
{
    paintDecided([&](AttributeCalls& calls) { decideAttachBlinkLocked(id, false, calls); });
}

void MacroRecorder::updateAttachBlink(const UniqueWidgetID& id)
{
    paintDecided([&](AttributeCalls& calls) { decideUpdateAttachBlinkLocked(id, calls); });
}

// ---- FIDs ------------------------------------------------------------------------------------

namespace {
// The kind named by an attach or detach FID; PRE_COMPLETE is refused here.
bool kindOfWord(const std::string& word, MacroRecorder::Widget::EMacroType& kind)
{
    if (word == "PRE")
        kind = MacroRecorder::Widget::PRE;
    else if (word == "REPLACE")
        kind = MacroRecorder::Widget::REPLACE;
    else if (word == "POST")
        kind = MacroRecorder::Widget::POST;
    else
        return false;
    return true;
}

bool widgetOfParams(const FIDParameterList& params, UniqueWidgetID& id)
{
    int workplace = 0, group = 0, module = 0, widget = 0;
    if (!params.getValue("WORKPLACE", workplace) || !params.getValue("GROUP", group) ||
        !params.getValue("MODULE", module) || !params.getValue("WIDGET", widget))
        return false;
    id = UniqueWidgetID(static_cast<unsigned>(workplace), static_cast<unsigned>(group), static_cast<unsigned>(module),
                        static_cast<unsigned>(widget));
    return true;
}
} // namespace

bool MacroRecorder::onFIDAttach(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    UniqueWidgetID id;
    std::string word;
    int reg = 0;
    Widget::EMacroType kind = Widget::PRE;
    if (!widgetOfParams(*paraList, id) || !paraList->getValue("TYPE", word) || !paraList->getValue("REG", reg))
        return false;
    if (!kindOfWord(word, kind)) return false;
    attachDetachMacroAndFlag(id, reg, kind, false, true);
    std::lock_guard<std::mutex> guard(m_dataLock);
    m_widgets[id].updateReplaceMacro();
    return true;
}

bool MacroRecorder::onFIDDetach(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    UniqueWidgetID id;
    std::string word;
    Widget::EMacroType kind = Widget::PRE;
    if (!widgetOfParams(*paraList, id) || !paraList->getValue("TYPE", word)) return false;
    if (!kindOfWord(word, kind)) return false;
    attachDetachMacroAndFlag(id, -1, kind, true, true);
    // Also while an application load or save holds the change back.
    std::lock_guard<std::mutex> guard(m_dataLock);
    m_widgets[id].updateReplaceMacro();
    return true;
}

bool MacroRecorder::onFIDDetachAll(const FunctionID&, const FIDParameterList*)
{
    detachAllMacros();
    saveAttachments();
    return true;
}

bool MacroRecorder::onFIDAttachEnable(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::lock_guard<std::mutex> guard(m_dataLock);
    m_disabledWidgets.erase(paraList->sourceWidget);
    return true;
}

bool MacroRecorder::onFIDAttachDisable(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::lock_guard<std::mutex> guard(m_dataLock);
    m_disabledWidgets.insert(paraList->sourceWidget);
    return true;
}

bool MacroRecorder::onFIDAttachViewSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string show;
    if (!paraList->getValue("SHOW", show) || (show != "ON" && show != "OFF")) return false;
    const bool on = show == "ON";

    uint64_t ticket = 0;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        m_attachViewOn = on;
        AttributeCalls calls;
        for (const auto& [id, widget] : m_widgets)
            for (int kind = 0; kind < Widget::kMacroTypeCount; ++kind)
                if (widget.getMacro(static_cast<Widget::EMacroType>(kind)) > 0) {
                    decideAttachBlinkLocked(id, on, calls);
                    break;
                }
        ticket = queuePaintLocked(std::move(calls));
    }
    paintUpTo(ticket);
    driveAttachViewOn();
    return true;
}

bool MacroRecorder::onFIDAttachmentsActiveSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string value;
    if (!paraList->getValue("VALUE", value) || (value != "ON" && value != "OFF")) return false;

    uint64_t ticket = 0;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        std::vector<UniqueWidgetID> ids;
        for (const auto& entry : m_widgets) ids.push_back(entry.first);
        AttributeCalls calls;
        // Both pictures test the flag, hence the opposite orders.
        if (value == "ON") {
            m_attachmentsActive = true;
            for (const auto& id : ids) decideShowReplaceLocked(id, false, calls);
        } else {
            for (const auto& id : ids) decideHideReplaceLocked(id, calls);
            m_attachmentsActive = false;
        }
        ticket = queuePaintLocked(std::move(calls));
    }
    paintUpTo(ticket);
    driveAttachmentsActive();
    return true;
}

bool MacroRecorder::onFIDAttachmentModeSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string mode;
    if (!paraList->getValue("MODE", mode)) return false;
    if (mode == "PRE")
        m_attachMode = ATTACH_PRE;
    else if (mode == "REPLACE")
        m_attachMode = ATTACH_REPLACE;
    else if (mode == "POST")
        m_attachMode = ATTACH_POST;
    else
        m_attachMode = ATTACH_NONE;
    driveAttachmentsMode();
    return true;
}

bool MacroRecorder::onFIDAttachReplacemodeSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    std::string value;
    if (!paraList->getValue("VALUE", value)) return false;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        if (value == "SIMPLE") {
            m_replaceMode = REPLACE_SIMPLE;
            m_simpleMacro = -1;
        } else if (value == "SECURE") {
            m_replaceMode = REPLACE_SECURE;
        } else if (value == "OFF") {
            m_replaceMode = REPLACE_OFF;
            m_simpleMacro = -1;
        } else {
            return false;
        }
    }
    driveReplaceMode();
    return true;
}

bool MacroRecorder::onFIDAssociateDisplay(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int primary = 0;
    int secondary = -1;
    int tertiary = -1;
    if (!paraList->getValue("PRIMARY", primary)) return false;
    paraList->getValue("SECONDARY", secondary);
    paraList->getValue("TERTIARY", tertiary);

    const UniqueWidgetID& source = paraList->sourceWidget;
    const uint32_t module = source.getID() & 0xFFFF0000u;
    auto onModule = [module](int number, bool masked) {
        if (number < 0 && masked) return UniqueWidgetID();
        const uint32_t low = static_cast<uint32_t>(number);
        return UniqueWidgetID(module | (masked ? (low & 0xFFFFu) : low));
    };

    std::lock_guard<std::mutex> guard(m_dataLock);
    auto it = m_widgets.find(source);
    if (it == m_widgets.end()) return false;
    it->second.m_primaryDisplay = onModule(primary, false);
    it->second.m_secondaryDisplay = onModule(secondary, true);
    it->second.m_tertiaryDisplay = onModule(tertiary, true);
    return true;
}
