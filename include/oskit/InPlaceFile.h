#pragma once

#include <string>

#include "panelkit/Export.h"

namespace oskit {

// The one way a file that is rewritten in place (not replaced whole) is
// opened for writing. Only a regular file is kept: what stands at the path is
// looked at before the open, so that a device is never opened, and the open
// descriptor again, since the path may change in between. The open never waits
// (a named pipe without a reader), never makes a terminal the controlling one
// and is closed on exec; O_NONBLOCK changes nothing for a regular file's reads
// and writes. The file is never truncated.
class PANEL_API InPlaceFile {
public:
    enum EResult {
        RESULT_OK = 0,
        RESULT_FAILED,     // nothing there (without CREATE), permissions, I/O
        RESULT_NOT_REGULAR // a folder, named pipe, device or socket
    };
    enum ECreate {
        MUST_EXIST,
        CREATE // made with mode 0666 (less the umask) where nothing stands
    };

    InPlaceFile(const std::string& path, ECreate create);
    ~InPlaceFile();
    InPlaceFile(const InPlaceFile&) = delete;
    InPlaceFile& operator=(const InPlaceFile&) = delete;

    EResult result() const { return m_result; }
    // The descriptor, open for reading and writing at offset 0; -1 unless RESULT_OK.
    int descriptor() const { return m_fd; }
    // Writes all bytes at the current offset; false when any could not be written.
    bool write(const std::string& bytes);

private:
    int m_fd = -1;
    EResult m_result = RESULT_FAILED;
};

} // namespace oskit
