// Opening a path only where a regular file stands.

#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace oskit::detail {

RegularOpen openRegular(const std::string& path, int flags, mode_t mode)
{
    RegularOpen opened;
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0) {
        if (!S_ISREG(info.st_mode)) {
            opened.notRegular = true;
            return opened;
        }
    } else if (errno != ENOENT || (flags & O_CREAT) == 0) {
        opened.error = errno;
        return opened;
    }
    int fd = -1;
    do {
        fd = ::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        opened.notRegular = errno == EISDIR;
        opened.error = errno;
        return opened;
    }
    if (::fstat(fd, &info) != 0) {
        opened.error = EIO;
        ::close(fd);
        return opened;
    }
    if (!S_ISREG(info.st_mode)) {
        opened.notRegular = true;
        ::close(fd);
        return opened;
    }
    opened.fd = fd;
    opened.size = info.st_size;
    return opened;
}

} // namespace oskit::detail
