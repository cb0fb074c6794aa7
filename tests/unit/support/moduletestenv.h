#pragma once

// Common ground for tests of the module's classes: the process singletons the
// module expects from its host, and scratch directories.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "oskit/CmdProcessor.h"
#include "oskit/LogManager.h"

namespace testenv {

// The host creates these before it loads the module; tests do the same.
inline void ensurePlatformSingletons()
{
    oskit::CmdProcessor::createInstance();
    oskit::LogManager::createInstance();
}

// A fresh directory under the system's temporary folder, removed with the object.
class TempDir {
public:
    TempDir()
    {
        std::string templ = (std::filesystem::temp_directory_path() / "panelmfd-test-XXXXXX").string();
        char* made = ::mkdtemp(templ.data());
        m_path = made ? std::filesystem::path(made) : std::filesystem::path();
    }
    ~TempDir()
    {
        std::error_code ec;
        if (!m_path.empty()) std::filesystem::remove_all(m_path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::string str() const { return m_path.string(); }

private:
    std::filesystem::path m_path;
};

inline std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

} // namespace testenv
