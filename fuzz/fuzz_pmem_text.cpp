// Feeds the input as a text panel memory register file: it is loaded with
// every conversion the loader knows, its name read the way the published
// state reads it, then saved back and renamed in place.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "pmemstoragetext.h"

namespace {

// A data directory on a memory file system where there is one.
struct DataDirectory {
    std::filesystem::path path;
    DataDirectory()
    {
        const std::filesystem::path base =
            std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string templ = (base / "pmem-text-fuzz-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        path = templ;
        std::filesystem::create_directories(path / "pmem" / "workplace1");
    }
    ~DataDirectory()
    {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};

void writeInput(const std::filesystem::path& file, const uint8_t* data, size_t size)
{
    std::FILE* out = std::fopen(file.c_str(), "wb");
    if (!out) std::abort();
    if (size) std::fwrite(data, 1, size, out);
    std::fclose(out);
}

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
