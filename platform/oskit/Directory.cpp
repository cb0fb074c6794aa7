#include "oskit/Directory.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace oskit {

namespace fs = std::filesystem;

Directory::Directory(const Path& path) : m_path(path) {}

Directory::~Directory() = default;

bool Directory::existingDirectory() const
{
    struct stat info {};
    return !m_path.isEmpty() && ::stat(m_path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool Directory::createDirectory()
{
    if (m_path.isEmpty()) return false;
    if (existingDirectory()) return true;
    std::error_code error;
    fs::create_directories(fs::path(m_path.getPath()), error);
    return existingDirectory();
}

std::list<std::string> Directory::getDirList(int /*sortType*/) const
{
    std::list<std::string> names;
    std::error_code error;
    fs::directory_iterator it(fs::path(m_path.getPath()), error);
    if (error) return names;
    for (const fs::directory_entry& entry : it) {
        std::error_code statError;
        if (entry.is_directory(statError)) names.push_back(entry.path().filename().string());
    }
    names.sort();
    return names;
}

std::list<std::string> Directory::getFileList(const std::string& pattern, int /*sortType*/) const
{
    std::list<std::string> names;
    std::string suffix;
    if (!pattern.empty()) {
        std::string extension = pattern;
        if (extension.rfind("*.", 0) == 0) extension.erase(0, 2);
        if (!extension.empty() && extension.front() == '.') extension.erase(0, 1);
        suffix = "." + extension;
    }
    std::error_code error;
    fs::directory_iterator it(fs::path(m_path.getPath()), error);
    if (error) return names;
    for (const fs::directory_entry& entry : it) {
        std::error_code statError;
        if (!entry.is_regular_file(statError)) continue;
        const std::string name = entry.path().filename().string();
        if (!suffix.empty() &&
            (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)) {
            continue;
        }
        names.push_back(name);
    }
    names.sort();
    return names;
}

} // namespace oskit
