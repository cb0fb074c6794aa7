// MacroRecorder: macro files, their reader and writer, and the register table.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <sstream>

#include <tinyxml.h>

#include "fidmaphandler.h"
#include "macrorecorder.h"
#include "moduleconstants.h"
#include "oskit/Directory.h"
#include "oskit/File.h"
#include "oskit/InputFile.h"
#include "oskit/Time.h"
#include "panelkit/Assert.h"
#include "panelsys/WholeFileWriter.h"
#include "panelsys/XMLInput.h"
#include "panelsys/XMLVerify.h"

namespace {

// The decimal value of an attribute, wrapped into 32 bits; never undefined.
unsigned attributeNumber(const char* text)
{
    if (!text) return 0;
    long value = std::strtol(text, nullptr, 10);
    return static_cast<unsigned>(static_cast<unsigned long>(value));
}

std::string threeDigits(int number)
{
    std::ostringstream os;
    os << std::setw(3) << std::setfill('0') << number;
    return os.str();
}

void logFormatError(const oskit::Path& path, const char* what, int row)
{
    MacroRecorder::s_pLog->level(oskit::LOG_ERROR)
        << "Macro file " << path.getPath() << " has invalid format (" << what << ") in line " << row << std::endl;
}

} // namespace

// ---- reader ----------------------------------------------------------------------------------

MacroRecorder::Macro* MacroRecorder::Macro::load(const oskit::Path& path, unsigned int workplace)
{
    PANEL_ASSERT(MacroRecorder::s_pLog, "MacroRecorder::s_pLog");

    // The file is read once: its signature is checked and its XML parsed from the same bytes.
    std::string bytes;
    oskit::InputFile::EResult why = oskit::InputFile::read(path.getPath(), bytes);
    if (why != oskit::InputFile::RESULT_OK || !XMLVerify().verifySignatureOfBytes(bytes))
        s_pLog->level(oskit::LOG_WARN) << "Macro file " << path.getPath() << " has invalid signature" << std::endl;
    if (why == oskit::InputFile::RESULT_OK) why = oskit::InputFile::checkXml(bytes);

    // Rows are counted only for a file that turns out malformed (below).
    TiXmlDocument doc;
    doc.SetTabSize(0);
    if (why != oskit::InputFile::RESULT_OK || !XMLInput::parse(doc, bytes)) {
        if (oskit::InputFile::isRefusal(why))
            s_pLog->level(oskit::LOG_ERROR) << "Refused macro file " << path.getPath() << ": "
                                            << oskit::InputFile::describe(why) << std::endl;
        s_pLog->level(oskit::LOG_ERROR) << "Failed to load macro file " << path.getPath() << std::endl;
        return nullptr;
    }

    if (Macro* pMacro = fromDocument(doc, path, workplace, false)) return pMacro;
    // A malformed file is parsed again with its rows counted, for the line that names them.
    TiXmlDocument counted;
    XMLInput::parse(counted, bytes);
    return fromDocument(counted, path, workplace, true);
}

MacroRecorder::Macro* MacroRecorder::Macro::fromDocument(const TiXmlDocument& doc, const oskit::Path& path,
                                                        unsigned int workplace, bool reportErrors)
{
    auto report = [&](const char* what, int row) {
        if (reportErrors) logFormatError(path, what, row);
    };

    const TiXmlElement* root = doc.FirstChildElement();
    if (!root || root->ValueStr() != "macro") {
        report("no macro element", root ? root->Row() : -1);
        return nullptr;
    }

    std::string name;
    std::string version;
    for (const TiXmlAttribute* attr = root->FirstAttribute(); attr; attr = attr->Next()) {
        const std::string& attrName = attr->NameTStr();
        if (attrName == "name")
            name = attr->Value();
        else if (attrName == "version")
            version = attr->Value();
    }
    if (name.empty()) {
        report("no macro name", root->Row());
        return nullptr;
    }

    Macro* pMacro = new Macro(name);
    pMacro->version = version;

    const TiXmlNode* config = root->FirstChild();
    if (!config || !config->ToElement() || config->ValueStr() != "configuration") {
        report("configuration element missing", config ? config->Row() : -1);
        delete pMacro;
        return nullptr;
    }
    const TiXmlNode* data = config->NextSibling();
    if (!data || !data->ToElement() || data->ValueStr() != "data") {
        report("data element missing", data ? data->Row() : -1);
        delete pMacro;
        return nullptr;
    }

    // A param without a name takes the name of the one before it; the first takes the macro's name.
    std::string paramName = name;
    for (const TiXmlNode* node = data->FirstChild(); node; node = node->NextSibling()) {
        const TiXmlElement* cmd = node->ToElement();
        if (!cmd || cmd->ValueStr() != "cmd") {
            report("cmd element missing", data->Row());
            delete pMacro;
            return nullptr;
        }
        FIDCommand command;
        unsigned wp = workplace, group = 0, module = 0, widget = 0;
        for (const TiXmlAttribute* attr = cmd->FirstAttribute(); attr; attr = attr->Next()) {
            const std::string& attrName = attr->NameTStr();
            if (attrName == "fid")
                command.fid = attr->Value();
            else if (attrName == "workplace")
                wp = attributeNumber(attr->Value());
            else if (attrName == "group")
                group = attributeNumber(attr->Value());
            else if (attrName == "module")
                module = attributeNumber(attr->Value());
            else if (attrName == "widget")
                widget = attributeNumber(attr->Value());
        }
        command.params.sourceWidget = UniqueWidgetID(wp, group, module, widget);

        for (const TiXmlNode* pnode = cmd->FirstChild(); pnode; pnode = pnode->NextSibling()) {
            const TiXmlElement* param = pnode->ToElement();
            if (!param || param->ValueStr() != "param") {
                report("param element missing", data->Row());
                delete pMacro;
                return nullptr;
            }
            std::string value;
            for (const TiXmlAttribute* attr = param->FirstAttribute(); attr; attr = attr->Next()) {
                const std::string& attrName = attr->NameTStr();
                if (attrName == "name")
                    paramName = attr->Value();
                else if (attrName == "value")
                    value = attr->Value();
            }
            command.params.add(paramName, value);
        }
        pMacro->commands.push_back(std::move(command));
    }
    return pMacro;
}

// ---- writer ----------------------------------------------------------------------------------

bool MacroRecorder::Macro::save(const oskit::Path& path) const
{
    PANEL_ASSERT(MacroRecorder::s_pLog, "MacroRecorder::s_pLog");

    TiXmlDocument doc;
    doc.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    auto* root = new TiXmlElement("macro");
    root->SetAttribute("xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance");
    root->SetAttribute("xsi:noNamespaceSchemaLocation", "../macro.xsd");
    root->SetAttribute("name", name.c_str());
    root->SetAttribute("version", version.c_str());
    root->SetAttribute("date", oskit::Time::getCurrentTime().format("%Y-%m-%dT%H:%M:%S").c_str());
    doc.LinkEndChild(root);
    root->LinkEndChild(new TiXmlElement("configuration"));
    auto* data = new TiXmlElement("data");
    root->LinkEndChild(data);
    for (const auto& command : commands) {
        auto* cmd = new TiXmlElement("cmd");
        const UniqueWidgetID& source = command.params.sourceWidget;
        cmd->SetAttribute("fid", command.fid.c_str());
        cmd->SetAttribute("workplace", std::to_string(source.getWorkplaceID()).c_str());
        cmd->SetAttribute("group", std::to_string(source.getGroupID()).c_str());
        cmd->SetAttribute("module", std::to_string(source.getModuleID()).c_str());
        cmd->SetAttribute("widget", std::to_string(source.getWidgetID()).c_str());
        for (const auto& parameter : command.params.parameters()) {
            auto* param = new TiXmlElement("param");
            param->SetAttribute("name", parameter.name.c_str());
            param->SetAttribute("value", parameter.value.c_str());
            cmd->LinkEndChild(param);
        }
        data->LinkEndChild(cmd);
    }

    // Written whole beside the target, signed there, then renamed over it.
    const std::string target = path.getPath();
    const bool saved = WholeFileWriter::writeDocument(target, doc, WholeFileWriter::ESigning::kSigned);
    if (!saved) s_pLog->level(oskit::LOG_ERROR) << "Failed to save macro file " << target << std::endl;
    return saved;
}

// ---- register table --------------------------------------------------------------------------

oskit::Path MacroRecorder::getMacroFilePath(int number) const
{
    oskit::Path path(m_path);
    path.expand("macro" + threeDigits(number) + kMacroFileExtension);
    return path;
}

MacroRecorder::Macro* MacroRecorder::createMacro(int number) const
{
    return new Macro("M" + threeDigits(number));
}

void MacroRecorder::saveMacro(const Macro* pMacro, int number) const
{
    PANEL_ASSERT(pMacro, "pMacro");
    if (m_loadSaveInProgress.load()) {
        s_pLog->level(oskit::LOG_ERROR) << "Ignoring macro save request: application load/save in progress"
                                        << std::endl;
        return;
    }
    pMacro->save(getMacroFilePath(number));
}

void MacroRecorder::saveRegister(int number)
{
    std::lock_guard<std::mutex> files(m_fileLock);
    std::unique_ptr<Macro> copy = copyMacro(number);
    if (copy) saveMacro(copy.get(), number);
}

bool MacroRecorder::hasMacro(int number) const
{
    if (number < 0 || number >= kMacroSlots) return false;
    std::lock_guard<std::mutex> guard(m_dataLock);
    return m_macros[static_cast<size_t>(number)] != nullptr;
}

std::unique_ptr<MacroRecorder::Macro> MacroRecorder::copyMacro(int number) const
{
    if (number < 0 || number >= kMacroSlots) return nullptr;
    std::lock_guard<std::mutex> guard(m_dataLock);
    const Macro* pMacro = m_macros[static_cast<size_t>(number)];
    return pMacro ? std::make_unique<Macro>(*pMacro) : nullptr;
}

void MacroRecorder::storeMacro(int number, Macro* pMacro)
{
    Macro* old = nullptr;
    {
        std::lock_guard<std::mutex> guard(m_dataLock);
        old = m_macros[static_cast<size_t>(number)];
        m_macros[static_cast<size_t>(number)] = pMacro;
    }
    delete old;
}

void MacroRecorder::loadMacros()
{
    const std::list<std::string> files = oskit::Directory(m_path).getFileList("mac", 0);
    for (const auto& file : files) {
        // The number stands behind the word "macro"; a name too short to hold it is skipped.
        if (file.size() < 5) {
            s_pLog->level(oskit::LOG_WARN) << "Skipping macro file " << file << ": name too short for a number"
                                           << std::endl;
            continue;
        }
        const std::string digits = file.substr(5, 3);
        const long number = std::strtol(digits.c_str(), nullptr, 10);
        if (number < 0 || number >= kMacroSlots) {
            s_pLog->level(oskit::LOG_WARN) << "Skipping macro file " << file << ": number out of range" << std::endl;
            continue;
        }
        // The file the listing named, not a sibling built from its number.
        const int reg = static_cast<int>(number);
        oskit::Path path(m_path);
        path.expand(file);
        storeMacro(reg, Macro::load(path, m_workplace));
    }
}

void MacroRecorder::deleteMacro(int number)
{
    if (number < 0 || number >= kMacroSlots) {
        s_pLog->level(oskit::LOG_WARN) << "delete macro: illegal macro # " << number << std::endl;
        return;
    }
    if (m_macroPlaying.load() && m_latestReg.load() == number) {
        // The play thread walks this macro: it finishes the deletion when it stops.
        m_deleteAfterPlay = true;
        m_latestReg = -1;
        stopMacro();
        driveLatestRegNumber();
        return;
    }
    removeMacro(number);
}

void MacroRecorder::removeMacro(int number)
{
    {
        std::lock_guard<std::mutex> files(m_fileLock);
        storeMacro(number, nullptr);
        oskit::File::remove(getMacroFilePath(number));
    }
    driveMacroName(number);
    driveMacroEmptyFlag(number);
}

bool MacroRecorder::onFIDDelete(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int number = 0;
    if (!paraList->getValue("REG", number)) return false;
    if (number < 0 || number >= kMacroSlots) {
        s_pLog->level(oskit::LOG_WARN) << "delete macro: illegal macro # " << number << std::endl;
        return false;
    }
    deleteMacro(number);
    return true;
}

bool MacroRecorder::onFIDDeleteAll(const FunctionID&, const FIDParameterList*)
{
    for (int n = kMacroMin; n <= kMacroMax; ++n)
        if (hasMacro(n)) deleteMacro(n);
    return true;
}
