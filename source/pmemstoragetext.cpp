#include "pmemstoragetext.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "oskit/Directory.h"
#include "oskit/File.h"
#include "oskit/InPlaceFile.h"
#include "oskit/InputFile.h"
#include "panelsys/WholeFileWriter.h"

namespace {

std::string defaultName(int reg) { return "pmem" + std::to_string(reg); }

// Reads a register file whole through the input checks; a refused one (a
// folder, a pipe, a link loop) reads as a file that does not open, with a line.
bool readRegisterFile(const std::string& path, std::string& bytes)
{
    const oskit::InputFile::EResult result = oskit::InputFile::read(path, bytes);
    if (oskit::InputFile::isRefusal(result))
        std::cout << "PMEM Error! Refused file \"" << path << "\": " << oskit::InputFile::describe(result)
                  << std::endl;
    return result == oskit::InputFile::RESULT_OK;
}

// The lines of a file read into memory, handed out as a stream's fgets hands
// them out: up to size - 1 bytes, through the line feed, NUL-terminated; false
// with the buffer untouched at the end.
class LineReader {
public:
    explicit LineReader(const std::string& bytes) : m_bytes(bytes) {}
    bool next(char* buffer, std::size_t size)
    {
        if (size == 0 || m_position >= m_bytes.size()) return false;
        std::size_t count = 0;
        while (count + 1 < size && m_position < m_bytes.size()) {
            const char c = m_bytes[m_position++];
            buffer[count++] = c;
            if (c == '\n') break;
        }
        buffer[count] = '\0';
        return true;
    }

private:
    const std::string& m_bytes;
    std::size_t m_position = 0;
};

// Old words and their replacements, tried in this order for each conversion.
struct Conversion {
    const char* word;
    const char* replacement;
};
constexpr Conversion kConversionsFrom0To1[] = {{"UTIL1", "BGDC"}, {"UTIL2", "BGDD"}};
constexpr Conversion kConversionsTo2[] = {{"KEY5", "KEY1"}, {"KEY6", "KEY1"}, {"UTIL1", "BGDC"}, {"UTIL2", "BGDD"}};

template <std::size_t N>
std::string applyConversions(const std::string& value, const Conversion (&table)[N])
{
    for (const Conversion& row : table) {
        if (value.find(row.word) != std::string::npos) return row.replacement;
    }
    return value;
}

} // namespace

PmemStorageText::PmemStorageText(const std::string& rootDir)
    : m_rootDir(rootDir), m_workplace(-1), m_register(-1)
{
}

PmemStorageText::~PmemStorageText() = default;

IInterface* PmemStorageText::queryInterface(unsigned int id)
{
    if (id == kIdPmemStorage) return static_cast<IInterface*>(this);
    return nullptr;
}

oskit::Path PmemStorageText::makePath(int workplace, int reg, bool create) const
{
    oskit::Path path(m_rootDir);
    path.expand("pmem");
    if (reg == 0) {
        path.expand("default.pmem");
        return path;
    }
    if (reg == 1000) {
        path.expand("default_MO.pmem");
        return path;
    }
    path.expand("workplace" + std::to_string(workplace));
    oskit::Directory directory(path);
    if (create && directory.existingDirectory() != true) {
        if (!directory.createDirectory()) return path;
    }
    path.expand(std::to_string(reg) + ".pmem");
    return path;
}

std::string PmemStorageText::cutName(const std::string& name) const
{
    const char* const kCut = " \n";
    std::size_t first = name.find_first_not_of(kCut);
    if (first == std::string::npos) return std::string();
    std::size_t last = name.find_last_not_of(kCut);
    return name.substr(first, last - first + 1);
}

std::string PmemStorageText::expandName(const std::string& name) const
{
    std::string line = name.substr(0, kNameLength);
    line.resize(kNameLength, ' ');
    return line;
}

std::string PmemStorageText::convertValue(const std::string& value, int version, int fileVersion)
{
    if (version == 1 && fileVersion == 0) return applyConversions(value, kConversionsFrom0To1);
    if (version == 2 && (fileVersion == 0 || fileVersion == 1)) return applyConversions(value, kConversionsTo2);
    return value;
}

bool PmemStorageText::loadRegister(int workplace, int reg, int version)
{
    if (workplace < 1 || reg < 0) return false;
    // One-register cache: a repeated load answers from memory, unsaved values included.
    if (reg == m_register) return true;

    m_register = reg;
    m_workplace = workplace;
    m_values.clear();

    oskit::Path path = makePath(workplace, reg, false);
    std::string bytes;
    if (!readRegisterFile(path.getPath(), bytes)) {
        m_name = defaultName(reg);
        return true;
    }
    LineReader file(bytes);

    char buffer[kLineBufferSize];
    std::memset(buffer, 0, sizeof(buffer));
    if (!file.next(buffer, sizeof(buffer)))
        m_name = defaultName(reg);
    else
        m_name = cutName(buffer);

    int fileVersion = 0;
    if (file.next(buffer, sizeof(buffer))) {
        if (std::strstr(buffer, "version")) {
            std::string rest(buffer);
            rest.erase(0, 8);
            long number = std::strtol(rest.c_str(), nullptr, 10);
            if (number > INT_MAX) number = INT_MAX;
            if (number < INT_MIN) number = INT_MIN;
            fileVersion = static_cast<int>(number);
        }
    }
    // Otherwise the buffer still holds line 1, and parsing starts with it.

    const bool convert = reg != 0 && reg != 1000;
    do {
        // Each word of a line fits: a line read holds at most 499 bytes.
        char key[kLineBufferSize];
        char value[kLineBufferSize];
        if (std::sscanf(buffer, "%499s %499s\n", key, value) == 2) {
            std::string text(value);
            if (convert) text = convertValue(text, version, fileVersion);
            m_values[key] = text;
        }
    } while (file.next(buffer, sizeof(buffer)));
    return true;
}

bool PmemStorageText::registerIsValid(int workplace, int reg)
{
    std::string scratch;
    return getRegisterName(workplace, reg, scratch);
}

bool PmemStorageText::registerIsEmpty() { return m_values.empty(); }

bool PmemStorageText::saveRegister(int version)
{
    if (m_workplace < 0 || m_register < 0) return false;

    oskit::Path path = makePath(m_workplace, m_register, true);

    std::string bytes = expandName(m_name);
    bytes += '\n';
    bytes += "version-" + std::to_string(version) + "\n";
    for (const auto& [key, value] : m_values) {
        bytes += key;
        bytes += ' ';
        bytes += value;
        bytes += '\n';
    }

    // The whole file is replaced: the register holds either the old content or the new.
    if (path.isEmpty() || !WholeFileWriter::write(path.getPath(), bytes)) {
        std::cout << "PMEM Error! Can't save file \"" << path.getPath() << "\"" << std::endl;
        return false;
    }
    return true;
}

bool PmemStorageText::deleteRegister(int workplace, int reg)
{
    oskit::Path path = makePath(workplace, reg, false);
    return oskit::File::remove(path) == 0;
}

bool PmemStorageText::getRegisterName(int workplace, int reg, std::string& name) const
{
    if (workplace < 0 || reg < 0) return false;
    oskit::Path path = makePath(workplace, reg, false);
    std::string bytes;
    if (!readRegisterFile(path.getPath(), bytes)) return false;
    LineReader file(bytes);

    char buffer[kLineBufferSize];
    std::memset(buffer, 0, sizeof(buffer));
    if (file.next(buffer, sizeof(buffer))) name = cutName(buffer);
    return true;
}

bool PmemStorageText::getRegisterName(std::string& name)
{
    if (registerIsEmpty()) return false;
    name = m_name;
    return true;
}

bool PmemStorageText::setRegisterName(const std::string& name)
{
    if (registerIsEmpty()) return false;
    m_name = name;
    return true;
}

bool PmemStorageText::setRegisterName(int workplace, int reg, const std::string& name)
{
    if (workplace < 0 || reg < 0) return false;
    oskit::Path path = makePath(workplace, reg, true);
    std::cout << path.getPath() << std::flush;

    // Line 1 is rewritten in place: it is always 31 bytes long.
    // Only over a register file: a named pipe, device or folder there is refused.
    oskit::InPlaceFile file(path.getPath(), oskit::InPlaceFile::MUST_EXIST);
    if (file.result() == oskit::InPlaceFile::RESULT_NOT_REGULAR)
        std::cout << "\nPMEM Error! Refused file \"" << path.getPath() << "\": not a regular file" << std::endl;
    if (file.result() != oskit::InPlaceFile::RESULT_OK) return false;
    std::string line = expandName(name);
    line += '\n';
    return file.write(line);
}

bool PmemStorageText::setRegisterValue(const std::string& key, const std::string& value)
{
    m_values[key] = value;
    return true;
}

bool PmemStorageText::getRegisterValue(const std::string& key, std::string& value)
{
    auto it = m_values.find(key);
    if (it == m_values.end()) return false;
    value = it->second;
    return true;
}

std::map<std::string, std::string>& PmemStorageText::getRegisterValues() { return m_values; }
