#include "pmemstoragexml.h"

#include <iostream>

#include "oskit/Directory.h"
#include "oskit/InputFile.h"
#include "oskit/Path.h"
#include "pmemfileparserxml.h"

PmemStorageXml::PmemStorageXml(const std::string& rootDir)
    : m_pParser(new PmemFileParserXml()), m_rootDir(rootDir), m_workplace(-1), m_register(-1)
{
}

PmemStorageXml::~PmemStorageXml()
{
    delete m_pParser;
    m_pParser = nullptr;
}

IInterface* PmemStorageXml::queryInterface(unsigned int id)
{
    if (id == kIdPmemStorage) return static_cast<IInterface*>(this);
    return nullptr;
}

bool PmemStorageXml::loadRegister(int workplace, int reg, int /*version*/)
{
    if (workplace < 0 || reg < 0) return false;

    // No cache: every load reads the file again.
    m_values.clear();
    m_workplace = workplace;
    m_register = reg;

    oskit::Path path(m_rootDir);
    path.expand("pmem");
    path.expand("workplace" + std::to_string(workplace));
    oskit::Directory directory(path);
    const bool directoryMade = directory.createDirectory();
    if (!directoryMade) return false;
    path.expand(std::to_string(reg) + ".pmem");

    // A missing or damaged file is replaced by a new, empty register at once.
    if (!m_pParser->load(path.getPath())) m_pParser->create(path.getPath());
    if (!m_pParser->isLoaded()) return directoryMade;

    m_pParser->seekToBegin();
    std::string name;
    std::string value;
    while (m_pParser->getNextEntry(name, value)) m_values[name] = value;
    return true;
}

bool PmemStorageXml::registerIsValid(int, int) { return false; }

bool PmemStorageXml::registerIsEmpty() { return m_values.empty(); }

bool PmemStorageXml::saveRegister(int /*version*/)
{
    // Values are added or overwritten; keys gone from the map stay in the file.
    if (m_pParser->isLoaded()) {
        for (const auto& [key, value] : m_values) m_pParser->setValue(key, value);
    }
    return m_pParser->save();
}

bool PmemStorageXml::deleteRegister(int, int) { return true; }

bool PmemStorageXml::getRegisterName(int, int, std::string&) const { return false; }

bool PmemStorageXml::getRegisterName(std::string& name)
{
    if (registerIsEmpty()) return false;
    name = m_name;
    return true;
}

bool PmemStorageXml::setRegisterName(const std::string& name)
{
    if (registerIsEmpty()) return false;
    m_name = name;
    return true;
}

bool PmemStorageXml::setRegisterName(int, int, const std::string&) { return false; }

bool PmemStorageXml::setRegisterValue(const std::string& key, const std::string& value)
{
    // The register file could not keep it: the next load would refuse the file.
    oskit::InputFile::EResult why = oskit::InputFile::checkText(key);
    if (why == oskit::InputFile::RESULT_OK) why = oskit::InputFile::checkText(value);
    if (why != oskit::InputFile::RESULT_OK) {
        std::cout << "PMEM Error! Refused register value: " << oskit::InputFile::describe(why) << std::endl;
        return false;
    }
    m_values[key] = value;
    return true;
}

bool PmemStorageXml::getRegisterValue(const std::string& key, std::string& value)
{
    // An absent key comes into being with an empty value.
    value = m_values[key];
    return true;
}

std::map<std::string, std::string>& PmemStorageXml::getRegisterValues() { return m_values; }
