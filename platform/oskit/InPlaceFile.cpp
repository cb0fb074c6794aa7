// Opening a file for its write in place.

#include "oskit/InPlaceFile.h"

#include "RegularFile.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace oskit {

InPlaceFile::InPlaceFile(const std::string& path, ECreate create)
{
    const detail::RegularOpen opened = detail::openRegular(path, O_RDWR | (create == CREATE ? O_CREAT : 0), 0666);
    m_fd = opened.fd;
    m_result = opened.fd >= 0 ? RESULT_OK : opened.notRegular ? RESULT_NOT_REGULAR : RESULT_FAILED;
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
