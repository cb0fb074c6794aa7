// The workplace file: reading it into the eight workplace slots, writing it
// back after a change, and publishing the slots as panel state.

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <tinyxml.h>

#include "fidmaphandler.h"
#include "mfdconfighandler.h"
#include "panelkit/Assert.h"
#include "panelmfd.h"
#include "panelsys/WholeFileWriter.h"
#include "panelsys/XMLInput.h"
#include "xmlattributes.h"

namespace {

const char* const kXsiNamespace = "http://www.w3.org/2001/XMLSchema-instance";

// The text of an attribute, empty when the element doesn't have it.
std::string attributeText(const TiXmlElement& element, const char* name)
{
    const char* value = element.Attribute(name);
    return value ? std::string(value) : std::string();
}

// The file name of a path: what follows its last separator.
std::string lastPathComponent(const std::string& path)
{
    const std::string::size_type slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

void PanelMFD::clearWorkplaces()
{
    for (int w = 0; w < kWorkplaceCount; ++w) {
        m_ports[w].clear();
        m_mfdIDs[w].clear();
        m_mfdTypes[w].clear();
        m_mfdVersions[w].clear();
        m_mfdWorkDirs[w].clear();
        m_mfdIPAddresses[w].clear();
        m_mfdNetworkAdapters[w].clear();
        m_mfdInterfaceTypes[w].clear();
    }
}

void PanelMFD::readWorkplaceConfig()
{
    std::string filename;
    {
        std::lock_guard<std::mutex> guard(m_workplaceLock);
        clearWorkplaces();
        filename = m_workplaceConfigFilename;
    }
    if (filename.empty()) return;

    // A file that is refused or doesn't parse reads as no workplaces.
    std::string bytes;
    const oskit::InputFile::EResult why = oskit::InputFile::readXml(filename, bytes);
    if (why != oskit::InputFile::RESULT_OK) {
        if (oskit::InputFile::isRefusal(why))
            m_log.getErrorStream() << "Refused workplace file " << filename << ": "
                                   << oskit::InputFile::describe(why);
        return;
    }
    // Of a workplace's repeated "id" the last one counts; the XML library would
    // refuse the whole file for it.
    TiXmlDocument document(filename.c_str());
    if (!XMLInput::parse(document, keepLastRepeatedAttributes(bytes, "workplace"))) return;
    readWorkplaceDocument(document);
}

void PanelMFD::readWorkplaceDocument(const TiXmlDocument& document)
{
    std::lock_guard<std::mutex> guard(m_workplaceLock);
    clearWorkplaces();
    const TiXmlElement* root = document.FirstChildElement();
    if (!root || root->ValueStr() != "workplaces") return;

    // Reading ends at the first node that isn't a well-formed workplace; what
    // was taken until then stays.
    for (const TiXmlNode* node = root->FirstChild(); node; node = node->NextSibling()) {
        const TiXmlElement* workplace = node->ToElement();
        if (!workplace || workplace->ValueStr() != "workplace") return;
        if (!readWorkplaceElement(*workplace)) return;
    }
}

bool PanelMFD::readWorkplaceElement(const TiXmlElement& workplace)
{
    long id = -1;
    for (const TiXmlAttribute* attribute = workplace.FirstAttribute(); attribute; attribute = attribute->Next()) {
        if (attribute->NameTStr() == "id") id = std::strtol(attribute->Value(), nullptr, 10);
    }
    if (id < 0 || id >= kWorkplaceCount) return false;
    const size_t w = static_cast<size_t>(id);

    for (const TiXmlNode* node = workplace.FirstChild(); node; node = node->NextSibling()) {
        const TiXmlElement* element = node->ToElement();
        if (!element) return false;
        if (element->ValueStr() == "ports") {
            const TiXmlNode* first = element->FirstChild();
            const TiXmlText* text = first ? first->ToText() : nullptr;
            m_ports[w] = text ? text->ValueStr() : std::string();
        } else if (element->ValueStr() == "mainframeDriver") {
            const std::string driverID = attributeText(*element, "driverID");
            const std::string driverType = attributeText(*element, "driverType");
            if (driverID.empty() || driverType.empty()) return false;
            m_mfdIDs[w].push_back(driverID);
            m_mfdTypes[w].push_back(driverType);
            m_mfdVersions[w].push_back(attributeText(*element, "version"));
            m_mfdWorkDirs[w].push_back(attributeText(*element, "workingDirectory"));
            m_mfdIPAddresses[w].push_back(attributeText(*element, "ipAddress"));
            m_mfdNetworkAdapters[w].push_back(attributeText(*element, "networkAdapter"));
            m_mfdInterfaceTypes[w].push_back(attributeText(*element, "interfaceType"));
        }
    }
    return true;
}

TiXmlElement* PanelMFD::buildWorkplacesElement() const
{
    auto* root = new TiXmlElement("workplaces");
    root->SetAttribute("xmlns:xsi", kXsiNamespace);
    root->SetAttribute("xsi:noNamespaceSchemaLocation", "Schema/Workplaces.xsd");
    root->SetAttribute("description", "Workplace configuration");
    root->SetAttribute("version", "0.1");

    for (int w = 0; w < kWorkplaceCount; ++w) {
        if (m_ports[w].empty() && m_mfdIDs[w].empty()) continue;
        auto* workplace = new TiXmlElement("workplace");
        workplace->SetAttribute("id", w);

        auto* ports = new TiXmlElement("ports");
        ports->LinkEndChild(new TiXmlText(m_ports[w]));
        workplace->LinkEndChild(ports);

        auto id = m_mfdIDs[w].begin();
        auto type = m_mfdTypes[w].begin();
        auto version = m_mfdVersions[w].begin();
        auto workDir = m_mfdWorkDirs[w].begin();
        auto ipAddress = m_mfdIPAddresses[w].begin();
        auto adapter = m_mfdNetworkAdapters[w].begin();
        auto interfaceType = m_mfdInterfaceTypes[w].begin();
        for (; id != m_mfdIDs[w].end(); ++id, ++type, ++version, ++workDir, ++ipAddress, ++adapter, ++interfaceType) {
            auto* driver = new TiXmlElement("mainframeDriver");
            driver->SetAttribute("driverID", *id);
            driver->SetAttribute("driverType", *type);
            driver->SetAttribute("version", *version);
            driver->SetAttribute("workingDirectory", *workDir);
            driver->SetAttribute("ipAddress", *ipAddress);
            driver->SetAttribute("networkAdapter", *adapter);
            driver->SetAttribute("interfaceType", *interfaceType);
            workplace->LinkEndChild(driver);
        }
        root->LinkEndChild(workplace);
    }
    return root;
}

bool PanelMFD::updateWorkplaceFile()
{
    PANEL_ASSERT(m_pConfigHandler, "m_pConfigHandler");

    // Saves are taken in turn, each with the tables as they stand, so that
    // the last save holds the last change.
    std::string filename;
    bool saved = false;
    {
        std::lock_guard<std::mutex> guard(m_workplaceLock);
        TiXmlElement* root = buildWorkplacesElement();

        // Whatever file the host named, saves go to its name in the configuration directory.
        oskit::Path target(m_pConfigHandler->m_configDirectory);
        target.expand(lastPathComponent(m_workplaceConfigFilename));
        m_workplaceConfigFilename = target.getPath();
        filename = m_workplaceConfigFilename;

        TiXmlDocument document(filename);
        document.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
        document.LinkEndChild(root);
        saved = saveWorkplaceDocument(document, filename);
    }
    if (!saved) {
        m_log.getErrorStream() << "Failed to save workplace file " << filename;
        return false;
    }
    return true;
}

std::string PanelMFD::getWorkplaceConfigFilename() const
{
    std::lock_guard<std::mutex> guard(m_workplaceLock);
    return m_workplaceConfigFilename;
}

// Signed in the temporary file, so that the target is never seen unsigned.
bool PanelMFD::saveWorkplaceDocument(TiXmlDocument& document, const std::string& target)
{
    return WholeFileWriter::writeDocument(target, document, WholeFileWriter::ESigning::kSigned);
}

PanelMFD::WorkplaceTables PanelMFD::copyWorkplaces() const
{
    WorkplaceTables tables;
    tables.ports = m_ports;
    tables.ids = m_mfdIDs;
    tables.types = m_mfdTypes;
    tables.versions = m_mfdVersions;
    tables.workDirs = m_mfdWorkDirs;
    tables.ipAddresses = m_mfdIPAddresses;
    tables.adapters = m_mfdNetworkAdapters;
    tables.interfaceTypes = m_mfdInterfaceTypes;
    return tables;
}

void PanelMFD::driveWorkplaceState()
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    {
        std::unique_lock<std::mutex> lock(m_workplaceLock);
        const uint64_t revision = ++m_workplaceRevision;
        if (!m_workplaceTurn.take(lock, revision)) return;
    }
    // Publishes until no change is left unpublished; a change made meanwhile,
    // here (the host calling back in) or on another thread, is taken by the
    // next pass.
    PublishTurn::Holder holder(m_workplaceTurn, m_workplaceLock);
    for (;;) {
        WorkplaceTables tables;
        uint64_t revision = 0;
        {
            std::lock_guard<std::mutex> guard(m_workplaceLock);
            if (m_workplacePublishedRevision == m_workplaceRevision) {
                m_workplaceTurn.release();
                holder.released();
                return;
            }
            tables = copyWorkplaces();
            revision = m_workplaceRevision;
        }
        publishWorkplaceTables(tables);
        std::lock_guard<std::mutex> guard(m_workplaceLock);
        m_workplacePublishedRevision = revision;
        m_workplaceTurn.published(revision);
    }
}

void PanelMFD::publishWorkplaceTables(const WorkplaceTables& tables)
{
    for (size_t w = 0; w < tables.ports.size(); ++w) {
        const std::string prefix = "WP" + std::to_string(w);

        std::istringstream ports(tables.ports[w]);
        int port = 0;
        int index = 0;
        while (ports >> port) {
            m_pMapHandler->setStateValueInt(prefix + ".PORTLIST" + std::to_string(index), port);
            ++index;
        }
        m_pMapHandler->unsetStateValue(prefix + ".PORTLIST" + std::to_string(index));

        auto id = tables.ids[w].begin();
        auto type = tables.types[w].begin();
        auto version = tables.versions[w].begin();
        auto workDir = tables.workDirs[w].begin();
        auto ipAddress = tables.ipAddresses[w].begin();
        auto adapter = tables.adapters[w].begin();
        auto interfaceType = tables.interfaceTypes[w].begin();
        int driver = 0;
        for (; id != tables.ids[w].end();
             ++id, ++type, ++version, ++workDir, ++ipAddress, ++adapter, ++interfaceType, ++driver) {
            const std::string key = prefix + ".MFD" + std::to_string(driver);
            m_pMapHandler->setStateValue(key, *id);
            m_pMapHandler->setStateValue(key + ".TYPE", *type);
            m_pMapHandler->setStateValue(key + ".VERSION", *version);
            m_pMapHandler->setStateValue(key + ".WORKDIR", *workDir);
            m_pMapHandler->setStateValue(key + ".IPADDR", *ipAddress);
            m_pMapHandler->setStateValue(key + ".NETWORKIFC", *adapter);
            m_pMapHandler->setStateValue(key + ".IFCTYPE", *interfaceType);
        }
        m_pMapHandler->setStateValueInt(prefix + ".MFDCOUNT", driver);
    }
}

std::string PanelMFD::formatRebootIndication(double elapsedSeconds)
{
    // A clock set back before the start counts as no time at all.
    const unsigned long seconds =
        elapsedSeconds > 0.0 && elapsedSeconds < 1e15 ? static_cast<unsigned long>(elapsedSeconds) : 0UL;
    char text[48];
    std::snprintf(text, sizeof(text), "%02lu:%02lu", (seconds / 3600) % 24, (seconds / 60) % 60);
    return text;
}

void PanelMFD::updateRebootIndication()
{
    PANEL_ASSERT(m_pMapHandler, "m_pMapHandler");
    const double elapsed = oskit::Time::getCurrentTime().getSeconds() - m_startTime.load();
    m_pMapHandler->setStateValue("SYSTEM.REBOOT_INDICATION", formatRebootIndication(elapsed));
}

void PanelMFD::workplaceChanged()
{
    driveWorkplaceState();
    updateWorkplaceFile();
}
