#pragma once

#include <list>
#include <string>

#include "oskit/Path.h"
#include "panelkit/Export.h"

namespace oskit {

class PANEL_API Directory {
public:
    enum EDirectorySortType { SORT_BY_NAME = 0 };

    explicit Directory(const Path& path);
    ~Directory();

    bool existingDirectory() const;
    // Makes the directory and its parents; true for one that exists already.
    bool createDirectory();
    // Names of the subdirectories (without "." and ".."), sorted by name.
    std::list<std::string> getDirList(int sortType = SORT_BY_NAME) const;
    // Names of the regular files whose names end in "." followed by the pattern
    // ("mac" lists the *.mac files), sorted by name. An empty pattern lists all.
    std::list<std::string> getFileList(const std::string& pattern, int sortType = SORT_BY_NAME) const;

    const Path& getPath() const { return m_path; }

private:
    Path m_path;
};

} // namespace oskit
