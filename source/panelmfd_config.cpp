// Editing the workplace configuration at run time: ports and mainframe drivers.

#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>

#include "oskit/InputFile.h"
#include "panelkit/Assert.h"
#include "panelmfd.h"

namespace {

constexpr int kPortMin = 1;
constexpr int kPortMax = 8;

bool readWorkplace(const FIDParameterList& paraList, int& workplace)
{
    return paraList.getValue("WPID", workplace) && workplace >= 0 && workplace < PanelMFD::kWorkplaceCount;
}

bool readPort(const FIDParameterList& paraList, int& port)
{
    return paraList.getValue("PORT", port) && port >= kPortMin && port <= kPortMax;
}

// A port list is read as a stream of integers; the first item that is no
// integer ends it.
bool holdsPort(const std::string& ports, int port)
{
    std::istringstream stream(ports);
    int number = 0;
    while (stream >> number) {
        if (number == port) return true;
    }
    return false;
}

// Drops the trailing blank that each written number leaves behind.
std::string listForm(std::ostringstream& written)
{
    std::string text = written.str();
    if (!text.empty()) text.pop_back();
    return text;
}

// The list with every occurrence of the port taken out.
std::string withoutPort(const std::string& ports, int port)
{
    std::istringstream stream(ports);
    std::ostringstream written;
    int number = 0;
    while (stream >> number) {
        if (number != port) written << number << ' ';
    }
    return listForm(written);
}

// Takes the port out of the first workplace that holds it; false if none does.
bool removePortFromFirstHolder(std::array<std::string, PanelMFD::kWorkplaceCount>& ports, int port)
{
    for (std::string& list : ports) {
        if (holdsPort(list, port)) {
            list = withoutPort(list, port);
            return true;
        }
    }
    return false;
}

// RESULT_OK when the workplace file can keep every one of the texts.
oskit::InputFile::EResult checkTexts(std::initializer_list<const std::string*> texts)
{
    for (const std::string* text : texts) {
        const oskit::InputFile::EResult why = oskit::InputFile::checkText(*text);
        if (why != oskit::InputFile::RESULT_OK) return why;
    }
    return oskit::InputFile::RESULT_OK;
}

template <class List>
typename List::iterator entryAt(List& list, std::ptrdiff_t index)
{
    return std::next(list.begin(), index);
}

} // namespace

bool PanelMFD::onFIDPortConfigSet(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int workplace = 0;
    int swap1 = 0;
    int swap2 = 0;
    if (!readWorkplace(*paraList, workplace)) return false;
    if (!paraList->getValue("SWAP1", swap1) || !paraList->getValue("SWAP2", swap2)) return false;

    std::unique_lock<std::mutex> guard(m_workplaceLock);
    std::istringstream stream(m_ports[workplace]);
    std::ostringstream written;
    int number = 0;
    int count = 0;
    while (stream >> number) {
        if (number == swap1) {
            written << swap2 << ' ';
            ++count;
        } else if (number == swap2) {
            written << swap1 << ' ';
            ++count;
        } else {
            written << number << ' ';
        }
    }
    if (count != 2) return false;

    m_ports[workplace] = listForm(written);
    guard.unlock();
    workplaceChanged();
    return true;
}

bool PanelMFD::onFIDPortConfigAssignWP(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int workplace = 0;
    int port = 0;
    if (!readWorkplace(*paraList, workplace)) return false;
    if (!readPort(*paraList, port)) return false;

    // The first workplace that holds the port gives it up, unless it is the
    // target itself; workplaces behind the first holder aren't looked at.
    std::unique_lock<std::mutex> guard(m_workplaceLock);
    for (int w = 0; w < kWorkplaceCount; ++w) {
        if (!holdsPort(m_ports[w], port)) continue;
        if (w == workplace) return true;
        m_ports[w] = withoutPort(m_ports[w], port);
        break;
    }

    std::string& target = m_ports[workplace];
    if (!target.empty()) target += ' ';
    target += std::to_string(port);
    guard.unlock();
    workplaceChanged();
    return true;
}

bool PanelMFD::onFIDPortConfigUnAssign(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int port = 0;
    if (!readPort(*paraList, port)) return false;
    std::unique_lock<std::mutex> guard(m_workplaceLock);
    const bool removed = removePortFromFirstHolder(m_ports, port);
    guard.unlock();
    if (removed) workplaceChanged();
    return true;
}

bool PanelMFD::onFIDMFDAdd(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int workplace = 0;
    if (!readWorkplace(*paraList, workplace)) return false;

    std::string id;
    std::string type;
    std::string version;
    std::string workDir;
    std::string interfaceType;
    if (!paraList->getValue("MFDID", id) || !paraList->getValue("TYPE", type) ||
        !paraList->getValue("VERSION", version) || !paraList->getValue("WORKDIR", workDir) ||
        !paraList->getValue("IFCTYPE", interfaceType))
        return false;
    std::string ipAddress;
    std::string adapter;
    paraList->getValue("IPADDR", ipAddress);
    paraList->getValue("NETWORKIFC", adapter);
    const oskit::InputFile::EResult why =
        checkTexts({&id, &type, &version, &workDir, &interfaceType, &ipAddress, &adapter});
    if (why != oskit::InputFile::RESULT_OK) {
        m_log.getErrorStream() << name << " refused: " << oskit::InputFile::describe(why) << " in a driver value";
        return false;
    }

    // A driver id is unique over the whole panel.
    std::unique_lock<std::mutex> guard(m_workplaceLock);
    for (const auto& ids : m_mfdIDs) {
        for (const std::string& existing : ids) {
            if (existing == id) return false;
        }
    }

    m_mfdIDs[workplace].push_back(id);
    m_mfdTypes[workplace].push_back(type);
    m_mfdVersions[workplace].push_back(version);
    m_mfdWorkDirs[workplace].push_back(workDir);
    m_mfdIPAddresses[workplace].push_back(ipAddress);
    m_mfdNetworkAdapters[workplace].push_back(adapter);
    m_mfdInterfaceTypes[workplace].push_back(interfaceType);
    guard.unlock();
    workplaceChanged();
    return true;
}

bool PanelMFD::onFIDMFDRemove(const FunctionID&, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int workplace = 0;
    std::string id;
    if (!readWorkplace(*paraList, workplace)) return false;
    if (!paraList->getValue("MFDID", id)) return false;

    std::unique_lock<std::mutex> guard(m_workplaceLock);
    auto& ids = m_mfdIDs[workplace];
    auto found = std::find(ids.begin(), ids.end(), id);
    if (found == ids.end()) return false;
    const std::ptrdiff_t index = std::distance(ids.begin(), found);

    ids.erase(found);
    m_mfdTypes[workplace].erase(entryAt(m_mfdTypes[workplace], index));
    m_mfdVersions[workplace].erase(entryAt(m_mfdVersions[workplace], index));
    m_mfdWorkDirs[workplace].erase(entryAt(m_mfdWorkDirs[workplace], index));
    m_mfdIPAddresses[workplace].erase(entryAt(m_mfdIPAddresses[workplace], index));
    m_mfdNetworkAdapters[workplace].erase(entryAt(m_mfdNetworkAdapters[workplace], index));
    m_mfdInterfaceTypes[workplace].erase(entryAt(m_mfdInterfaceTypes[workplace], index));
    guard.unlock();
    workplaceChanged();
    return true;
}

bool PanelMFD::onFIDMFDModify(const FunctionID& name, const FIDParameterList* paraList)
{
    PANEL_ASSERT(paraList, "paraList");
    int workplace = 0;
    std::string id;
    std::string component;
    std::string value;
    if (!readWorkplace(*paraList, workplace)) return false;
    if (!paraList->getValue("MFDID", id) || !paraList->getValue("COMPONENT", component) ||
        !paraList->getValue("VALUE", value))
        return false;
    const oskit::InputFile::EResult why = oskit::InputFile::checkText(value);
    if (why != oskit::InputFile::RESULT_OK) {
        m_log.getErrorStream() << name << " refused: " << oskit::InputFile::describe(why) << " in a driver value";
        return false;
    }

    std::unique_lock<std::mutex> guard(m_workplaceLock);
    auto& ids = m_mfdIDs[workplace];
    auto found = std::find(ids.begin(), ids.end(), id);
    if (found == ids.end()) return false;
    const std::ptrdiff_t index = std::distance(ids.begin(), found);

    // Type and version stay: a driver of another type is removed and added anew.
    if (component == "IPADDR")
        *entryAt(m_mfdIPAddresses[workplace], index) = value;
    else if (component == "IFCTYPE")
        *entryAt(m_mfdInterfaceTypes[workplace], index) = value;
    else if (component == "NETWORKIFC")
        *entryAt(m_mfdNetworkAdapters[workplace], index) = value;
    else if (component == "WORKDIR")
        *entryAt(m_mfdWorkDirs[workplace], index) = value;
    guard.unlock();
    workplaceChanged();
    return true;
}
