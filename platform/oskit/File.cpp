#include "oskit/File.h"

#include <sys/stat.h>

#include <cerrno>

namespace oskit {

File::File(const Path& path) : m_path(path) {}

File::~File()
{
    close();
}

bool File::open(int mode)
{
    close();
    if (m_path.isEmpty()) return false;
    switch (mode) {
    case OPEN_READ:
        m_file = std::fopen(m_path.c_str(), "rb");
        break;
    case OPEN_WRITE:
        m_file = std::fopen(m_path.c_str(), "wb");
        break;
    case OPEN_READWRITE:
        m_file = std::fopen(m_path.c_str(), "r+b");
        if (m_file == nullptr && errno == ENOENT) m_file = std::fopen(m_path.c_str(), "w+b");
        break;
    default:
        return false;
    }
    return m_file != nullptr;
}

int File::read(void* data, int length)
{
    if (m_file == nullptr || length < 0 || (data == nullptr && length > 0)) return -1;
    if (length == 0) return 0;
    const size_t count = std::fread(data, 1, static_cast<size_t>(length), m_file);
    if (count == 0 && std::ferror(m_file)) return -1;
    return static_cast<int>(count);
}

int File::write(const void* data, int length)
{
    if (m_file == nullptr || length < 0 || (data == nullptr && length > 0)) return -1;
    if (length == 0) return 0;
    const size_t count = std::fwrite(data, 1, static_cast<size_t>(length), m_file);
    if (count == 0 && std::ferror(m_file)) return -1;
    return static_cast<int>(count);
}

void File::close()
{
    if (m_file != nullptr) {
        std::fclose(m_file);
        m_file = nullptr;
    }
}

int File::remove(const Path& path)
{
    if (path.isEmpty()) return -1;
    if (std::remove(path.c_str()) == 0) return 0;
    return errno == ENOENT ? 0 : -1;
}

bool File::exists(const Path& path)
{
    struct stat info {};
    return !path.isEmpty() && ::stat(path.c_str(), &info) == 0;
}

} // namespace oskit
