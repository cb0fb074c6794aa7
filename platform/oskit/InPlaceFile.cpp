// Opening a file for its write in place.

#include "oskit/InPlaceFile.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace oskit {

InPlaceFile::InPlaceFile(const std::string& path, ECreate create)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        m_result = RESULT_NOT_REGULAR;
        return;
    }
    const int flags = O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | (create == CREATE ? O_CREAT : 0);
    do {
        m_fd = ::open(path.c_str(), flags, 0666);
    } while (m_fd < 0 && errno == EINTR);
    if (m_fd < 0) {
        m_result = errno == EISDIR ? RESULT_NOT_REGULAR : RESULT_FAILED;
        return;
    }
    struct stat opened {};
    const bool known = ::fstat(m_fd, &opened) == 0;
    if (!known || !S_ISREG(opened.st_mode)) {
        m_result = known ? RESULT_NOT_REGULAR : RESULT_FAILED;
        ::close(m_fd);
        m_fd = -1;
        return;
    }
    m_result = RESULT_OK;
}

InPlaceFile::~InPlaceFile()
{
    if (m_fd >= 0) ::close(m_fd);
}

bool InPlaceFile::write(const std::string& bytes)
{
    if (m_fd < 0) return false;
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(m_fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

} // namespace oskit
