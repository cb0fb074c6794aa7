// Feeds the input as an XML panel memory register file: it is loaded, each
// entry read, then every value written back (the attribute walk of the
// write runs over the document as it was read) and saved.

#include <string>

#include "fuzzsupport.h"

#include "pmemfileparserxml.h"
#include "pmemstoragexml.h"

namespace {

struct DataDirectory : fuzzsupport::ScratchDirectory {
    DataDirectory() : fuzzsupport::ScratchDirectory("pmem-xml-fuzz")
    {
        std::filesystem::create_directories(path / "pmem" / "workplace1");
    }
};

using fuzzsupport::writeInput;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static DataDirectory dir;
    const std::filesystem::path file = dir.path / "pmem" / "workplace1" / "5.pmem";

    writeInput(file, data, size);
    {
        PmemStorageXml storage(dir.path.string());
        storage.loadRegister(1, 5, 0);
        std::string value;
        storage.getRegisterValue("KEY", value);
        storage.setRegisterValue("name", "value");
        storage.saveRegister(0);
        storage.loadRegister(1, 5, 0);
    }

    // The parser on its own: name, entries and a write of each name read.
    writeInput(file, data, size);
    PmemFileParserXml parser;
    if (parser.load(file.string())) {
        std::string name;
        parser.getName(name);
        std::string key;
        std::string value;
        parser.seekToBegin();
        int count = 0;
        while (parser.getNextEntry(key, value) && count++ < 64) parser.setValue(key, value + "x");
        parser.setValue("", "");
        parser.clear();
        parser.setValue("a", "b");
    }
    return 0;
}
