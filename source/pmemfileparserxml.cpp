#include "pmemfileparserxml.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include <tinyxml.h>

#include "panelsys/WholeFileWriter.h"
#include "panelsys/XMLInput.h"

namespace {

const char* const kRootElement = "register";
const char* const kEntryElement = "data";
const char* const kNameAttribute = "name";
const char* const kValueAttribute = "value";

} // namespace

PmemFileParserXml::PmemFileParserXml() : m_pDocument(nullptr), m_loaded(false), m_pCursor(nullptr) {}

PmemFileParserXml::~PmemFileParserXml()
{
    delete m_pDocument;
    m_pDocument = nullptr;
    m_pCursor = nullptr;
}

bool PmemFileParserXml::load(const std::string& path)
{
    delete m_pDocument;
    m_pCursor = nullptr;
    m_pDocument = new TiXmlDocument();
    oskit::InputFile::EResult why = oskit::InputFile::RESULT_OK;
    if (!XMLInput::load(*m_pDocument, path, TIXML_DEFAULT_ENCODING, &why)) {
        if (oskit::InputFile::isRefusal(why))
            std::cout << "PMEM Error! Refused file \"" << path << "\": " << oskit::InputFile::describe(why)
                      << std::endl;
        delete m_pDocument;
        m_pDocument = nullptr;
        m_loaded = false;
    } else {
        m_loaded = true;
    }
    m_fileName = path;
    return m_loaded;
}

bool PmemFileParserXml::create(const std::string& path)
{
    unload();
    m_pDocument = new TiXmlDocument();
    TiXmlElement root(kRootElement);
    root.SetAttribute(kNameAttribute, "");
    m_pDocument->InsertEndChild(root);
    m_loaded = writeDocument(path);
    m_fileName = path;
    return m_loaded;
}

bool PmemFileParserXml::save() const
{
    if (!m_pDocument || m_fileName.empty()) return false;
    writeDocument(m_fileName);
    return true;
}

bool PmemFileParserXml::writeDocument(const std::string& path) const
{
    if (!m_pDocument || path.empty()) return false;
    if (!WholeFileWriter::writeDocument(path, *m_pDocument)) {
        std::cout << "PMEM Error! Can't save file \"" << path << "\"" << std::endl;
        return false;
    }
    return true;
}

bool PmemFileParserXml::unload()
{
    if (!m_pDocument) return false;
    delete m_pDocument;
    m_pDocument = nullptr;
    m_pCursor = nullptr;
    return true;
}

void PmemFileParserXml::clear()
{
    if (m_pDocument) {
        m_pDocument->Clear();
        m_pCursor = nullptr;
    }
}

bool PmemFileParserXml::seekToBegin()
{
    m_pCursor = nullptr;
    return true;
}

bool PmemFileParserXml::getNextEntry(std::string& name, std::string& value)
{
    if (!m_pDocument) return false;

    TiXmlNode* next = nullptr;
    if (!m_pCursor) {
        TiXmlNode* root = m_pDocument->FirstChild(kRootElement);
        if (!root) return false;
        next = root->FirstChild();
    } else {
        next = m_pCursor->NextSibling();
    }
    m_pCursor = next;
    if (!next) return false;

    name.clear();
    value.clear();
    // A child that is no element (text, comment) is an entry without attributes.
    const TiXmlElement* element = next->ToElement();
    if (element) {
        for (const TiXmlAttribute* attr = element->FirstAttribute(); attr; attr = attr->Next()) {
            if (attr->NameTStr() == kNameAttribute)
                name = attr->ValueStr();
            else if (attr->NameTStr() == kValueAttribute)
                value = attr->ValueStr();
        }
    }
    return true;
}

bool PmemFileParserXml::getName(std::string& name)
{
    if (!m_pDocument) return false;
    const TiXmlElement* root = m_pDocument->FirstChildElement(kRootElement);
    if (!root) return false;
    name.clear();
    const char* text = root->Attribute(kNameAttribute);
    if (text) name = text;
    return true;
}

bool PmemFileParserXml::setValue(const std::string& name, const std::string& value)
{
    if (!m_pDocument) return false;
    TiXmlElement* root = m_pDocument->FirstChildElement(kRootElement);
    if (!root) return false;

    // The mark survives from one element to the next: an element with a
    // matching name and no value passes the write on to the next value.
    bool found = false;
    for (TiXmlNode* child = root->FirstChild(); child; child = child->NextSibling()) {
        TiXmlElement* element = child->ToElement();
        if (!element) continue;
        bool restarted = false;
        for (TiXmlAttribute* attr = element->FirstAttribute(); attr; attr = attr->Next()) {
            if (attr->NameTStr() == kNameAttribute && attr->ValueStr() == name) {
                found = true;
                // Back to the first attribute, once per element: a value that
                // stands in front of the name is never reached.
                if (!restarted) {
                    restarted = true;
                    attr = element->FirstAttribute();
                }
            } else if (attr->NameTStr() == kValueAttribute && found) {
                attr->SetValue(value);
                return true;
            }
        }
    }

    TiXmlElement entry(kEntryElement);
    entry.SetAttribute(kNameAttribute, name);
    entry.SetAttribute(kValueAttribute, value);
    root->InsertEndChild(entry);
    return true;
}
