#include "panelsys/WholeFileWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <tinyxml.h>

#include "oskit/InputFile.h"
#include "oskit/Path.h"
#include "panelsys/XMLVerify.h"

namespace {

using EStep = WholeFileWriter::EStep;

std::atomic<EStep> s_failingStep{EStep::kNone};
std::atomic<unsigned> s_sequence{0};

// True when the test seam makes this step fail; errno then says why, as the
// system would on a full disk.
bool injected(EStep step)
{
    if (s_failingStep.load(std::memory_order_relaxed) != step) return false;
    errno = ENOSPC;
    return true;
}

// Opens a temporary file of a name no one else uses, beside the target.
int createTemporary(const std::string& path, std::string& temporary)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporary = path + ".tmp" + std::to_string(::getpid()) + "." + std::to_string(s_sequence.fetch_add(1));
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

bool writeAll(int fd, std::string_view bytes)
{
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        written += static_cast<size_t>(n);
    }
    return true;
}

// The folder that holds the path: what precedes its last separator.
std::string directoryOf(const std::string& path)
{
    const std::string::size_type slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

bool syncDirectory(const std::string& directory)
{
    const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

// Writes and closes the temporary file; false if any step fails. The
// descriptor is closed in every case.
bool fillTemporary(int fd, std::string_view bytes)
{
    bool good = !injected(EStep::kWrite) && writeAll(fd, bytes);
    good = good && !injected(EStep::kSync) && ::fsync(fd) == 0;
    const bool closed = ::close(fd) == 0;
    return good && closed && !injected(EStep::kClose);
}

bool signTemporary(const std::string& temporary)
{
    XMLVerify verify;
    if (injected(EStep::kSign) || !verify.insertSignature(oskit::Path(temporary))) return false;
    return !injected(EStep::kVerify) && verify.verifySignature(oskit::Path(temporary));
}

} // namespace

bool WholeFileWriter::write(const std::string& path, std::string_view bytes, ESigning signing)
{
    if (path.empty()) return false;
    std::string temporary;
    const int fd = injected(EStep::kCreate) ? -1 : createTemporary(path, temporary);
    if (fd < 0) return false;

    bool good = fillTemporary(fd, bytes);
    if (good && signing == ESigning::kSigned) good = signTemporary(temporary);
    good = good && !injected(EStep::kRename) && ::rename(temporary.c_str(), path.c_str()) == 0;
    if (!good) {
        ::unlink(temporary.c_str());
        return false;
    }
    // The target holds the new content from here on; a failed sync of the
    // folder only leaves the rename at risk from a power cut.
    return !injected(EStep::kSyncDirectory) && syncDirectory(directoryOf(path));
}

bool WholeFileWriter::writeXml(const std::string& path, const std::string& bytes, ESigning signing)
{
    // Checked in memory, before anything is written: the signature adds only
    // plain ASCII to the root element's start tag, which changes nothing the
    // pre-check looks at.
    if (injected(EStep::kCheck)) return false;
    if (oskit::InputFile::checkXml(bytes) != oskit::InputFile::RESULT_OK) return false;
    return write(path, bytes, signing);
}

bool WholeFileWriter::writeDocument(const std::string& path, const TiXmlDocument& document, ESigning signing)
{
    std::optional<std::string> bytes = documentBytes(document);
    return bytes && writeXml(path, *bytes, signing);
}

std::optional<std::string> WholeFileWriter::documentBytes(const TiXmlDocument& document)
{
    if (injected(EStep::kPrint)) return std::nullopt;
    char* buffer = nullptr;
    size_t size = 0;
    std::FILE* memory = ::open_memstream(&buffer, &size);
    if (memory == nullptr) return std::nullopt;
    const bool printed = document.SaveFile(memory);
    const bool closed = std::fclose(memory) == 0;
    std::optional<std::string> bytes;
    if (printed && closed && buffer != nullptr) bytes.emplace(buffer, size);
    std::free(buffer);
    return bytes;
}

const char* WholeFileWriter::stepName(EStep step)
{
    switch (step) {
    case EStep::kNone: return "none";
    case EStep::kPrint: return "print";
    case EStep::kCheck: return "check";
    case EStep::kCreate: return "create";
    case EStep::kWrite: return "write";
    case EStep::kSync: return "sync";
    case EStep::kClose: return "close";
    case EStep::kSign: return "sign";
    case EStep::kVerify: return "verify";
    case EStep::kRename: return "rename";
    case EStep::kSyncDirectory: return "syncDirectory";
    }
    return "?";
}

void WholeFileWriter::failStepForTesting(EStep step)
{
    s_failingStep.store(step, std::memory_order_relaxed);
}
