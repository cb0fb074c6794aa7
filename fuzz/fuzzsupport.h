#pragma once

// Shared ground of the fuzz targets: a scratch directory (on a memory file
// system where there is one) and writing an input to a file.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace fuzzsupport {

class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& prefix)
    {
        const std::filesystem::path base =
            std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string templ = (base / (prefix + "-XXXXXX")).string();
        if (!::mkdtemp(templ.data())) std::abort();
        path = templ;
    }
    ~ScratchDirectory()
    {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::filesystem::path path;
};

inline void writeInput(const std::filesystem::path& file, const uint8_t* data, size_t size)
{
    std::FILE* out = std::fopen(file.c_str(), "wb");
    if (!out) std::abort();
    if (size) std::fwrite(data, 1, size, out);
    std::fclose(out);
}

} // namespace fuzzsupport
