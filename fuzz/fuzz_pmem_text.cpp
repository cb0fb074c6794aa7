// Feeds the input as a text panel memory register file: it is loaded with
// every conversion the loader knows, its name read the way the published
// state reads it, then saved back and renamed in place.

#include <string>

#include "fuzzsupport.h"

#include "pmemstoragetext.h"

namespace {

struct DataDirectory : fuzzsupport::ScratchDirectory {
    DataDirectory() : fuzzsupport::ScratchDirectory("pmem-text-fuzz")
    {
        std::filesystem::create_directories(path / "pmem" / "workplace1");
    }
};

using fuzzsupport::writeInput;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static DataDirectory dir;
    // The rename traces its path on standard output; libFuzzer reports on standard error.
    static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    (void)quiet;
    const std::filesystem::path file = dir.path / "pmem" / "workplace1" / "5.pmem";

    for (int version = 0; version <= 3; ++version) {
        writeInput(file, data, size);
        PmemStorageText storage(dir.path.string());
        storage.loadRegister(1, 5, version);
        std::string name;
        storage.getRegisterName(1, 5, name);
        storage.registerIsValid(1, 5);
        storage.getRegisterName(name);
        for (const auto& entry : storage.getRegisterValues()) {
            std::string value;
            storage.getRegisterValue(entry.first, value);
        }
        if (version == 3) {
            storage.setRegisterName(name);
            storage.saveRegister(version);
            storage.setRegisterName(1, 5, name);
        }
    }
    return 0;
}
