#pragma once

#include <cstdio>

#include "oskit/Path.h"
#include "panelkit/Export.h"

namespace oskit {

class PANEL_API File {
public:
    enum EOpenMode { OPEN_READ = 1, OPEN_WRITE = 2, OPEN_READWRITE = 3 };

    explicit File(const Path& path);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool open(int mode);
    // Bytes read, 0 at the end, -1 when not open.
    int read(void* data, int length);
    int write(const void* data, int length);
    void close();
    bool isOpen() const { return m_file != nullptr; }

    // Deletes the file; a missing file is no error (0). -1 on another failure.
    static int remove(const Path& path);
    static bool exists(const Path& path);

private:
    Path m_path;
    std::FILE* m_file = nullptr;
};

} // namespace oskit
