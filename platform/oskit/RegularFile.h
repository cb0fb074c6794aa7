#pragma once

// Opening a path only where a regular file stands there, for the input opener
// and the in-place opener alike. Internal to oskit.

#include <sys/types.h>

#include <string>

namespace oskit::detail {

struct RegularOpen {
    int fd = -1;             // open, or -1
    bool notRegular = false; // a folder, named pipe, device or socket stands there
    int error = 0;           // otherwise, why it did not open
    off_t size = 0;          // the open file's size
};

// What stands at the path is looked at before the open, so that nothing but a
// regular file is ever opened (opening a device can act on it), and the open
// descriptor again, since the path may change in between. The open never
// waits (a named pipe without a reader), never makes a terminal the
// controlling one and is closed on exec. With O_CREAT among the flags, a path
// where nothing stands is made with the mode.
RegularOpen openRegular(const std::string& path, int flags, mode_t mode = 0);

} // namespace oskit::detail
