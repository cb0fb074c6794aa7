#pragma once

// The pieces floors are made of: a file read whole, once, and a signature
// checked on bytes already in memory (the SHA-256 of the bytes without the
// attribute signature="..." against its value).

#include <openssl/evp.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

namespace benchfloor {

inline std::string readWhole(const std::string& path)
{
    std::string bytes;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return bytes;
    struct stat info {};
    if (::fstat(::fileno(file), &info) == 0) bytes.resize(static_cast<size_t>(info.st_size));
    const size_t got = std::fread(bytes.data(), 1, bytes.size(), file);
    bytes.resize(got);
    std::fclose(file);
    return bytes;
}

inline bool signatureHolds(std::string bytes)
{
    const std::string marker = " signature=\"";
    const size_t begin = bytes.find(marker);
    if (begin == std::string::npos) return false;
    const size_t valueBegin = begin + marker.size();
    const size_t valueEnd = bytes.find('"', valueBegin);
    if (valueEnd == std::string::npos) return false;
    const std::string expected = bytes.substr(valueBegin, valueEnd - valueBegin);
    bytes.erase(begin, valueEnd + 1 - begin);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1) return false;
    static const char hex[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * length);
    for (unsigned int i = 0; i < length; ++i) {
        text += hex[digest[i] >> 4];
        text += hex[digest[i] & 0x0F];
    }
    return text == expected;
}

} // namespace benchfloor
