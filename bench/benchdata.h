#pragma once

// Data files the benchmarks lay out before they measure.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace benchdata {

// A panel memory register in the text format: a 30-character name, the
// version line, two memo flags and twenty values.
inline void writeRegisterFile(const std::filesystem::path& path, int reg)
{
    std::filesystem::create_directories(path.parent_path());
    std::string name = "Register " + std::to_string(reg);
    name.resize(30, ' ');
    std::string bytes = name + "\nversion-2\nDEFINE_MEMO_CAM ON\nDEFINE_MEMO_AUDIO OFF\n";
    for (int i = 0; i < 20; ++i) bytes += "VALUE_" + std::to_string(i) + " " + std::to_string(i * reg) + "\n";
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (!file) std::abort();
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

} // namespace benchdata
