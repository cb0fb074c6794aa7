#pragma once

// What may stand at a file's path in place of the file, each with the reason
// the input opener gives when it refuses it.

#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/moduletestenv.h"

namespace testenv {

struct HostilePath {
    const char* what;
    std::function<void()> make;
};

// A named pipe, a folder and a link to itself at the path; for an XML file
// also elements nested far past the cap, opened by the given tag.
inline std::vector<HostilePath> hostilePaths(const std::filesystem::path& file, const std::string& xmlHead = "",
                                             const std::string& xmlTag = "")
{
    std::vector<HostilePath> cases = {
        {"not a regular file", [file] { ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); }},
        {"not a regular file", [file] { std::filesystem::create_directories(file); }},
        {"symbolic link loop", [file] { std::filesystem::create_symlink(file, file); }},
    };
    if (!xmlTag.empty())
        cases.push_back({"elements nested deeper than 64 levels", [file, xmlHead, xmlTag] {
                             std::string deep = xmlHead;
                             for (int i = 0; i < 40000; ++i) deep += "<" + xmlTag + ">";
                             writeFile(file, deep);
                         }});
    return cases;
}

} // namespace testenv
