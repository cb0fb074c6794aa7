#pragma once

#include <string>

class TiXmlDocument;
class TiXmlNode;

// A thin wrapper of one XML register document:
//   <register name=""><data name="KEY" value="VALUE"/>...</register>
// Any child of the root element counts as an entry.
class PmemFileParserXml {
public:
    PmemFileParserXml();
    virtual ~PmemFileParserXml();
    PmemFileParserXml(const PmemFileParserXml&) = delete;
    PmemFileParserXml& operator=(const PmemFileParserXml&) = delete;

    // Reads the file; a file that can't be read or parsed leaves nothing loaded.
    bool load(const std::string& path);
    // Makes a new document holding the empty root and writes it to the path.
    bool create(const std::string& path);
    // Writes the document to the path used last; the write's own result is not reported.
    bool save() const;
    bool unload();
    void clear();

    bool seekToBegin();
    bool getNextEntry(std::string& name, std::string& value);
    bool getName(std::string& name);
    bool setValue(const std::string& name, const std::string& value);

    bool isLoaded() const { return m_loaded; }
    const std::string& fileName() const { return m_fileName; }

private:
    // Writes the document crash-safe (temporary file, then rename).
    bool writeDocument(const std::string& path) const;

    TiXmlDocument* m_pDocument;
    bool m_loaded;
    std::string m_fileName;
    TiXmlNode* m_pCursor;
};
