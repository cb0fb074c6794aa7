#include "oskit/Time.h"

#include <chrono>
#include <cmath>
#include <ctime>
#include <vector>

namespace oskit {

Time Time::getCurrentTime()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return Time(std::chrono::duration<double>(now).count());
}

std::string Time::format(const std::string& pattern) const
{
    if (pattern.empty() || !std::isfinite(m_seconds)) return "";
    const std::time_t seconds = static_cast<std::time_t>(std::floor(m_seconds));
    std::tm local{};
    if (localtime_r(&seconds, &local) == nullptr) return "";
    // strftime answers 0 both for a buffer too small and for an empty result;
    // grow the buffer a few times before taking the result as empty.
    for (size_t size = 64; size <= 65536; size *= 4) {
        std::vector<char> buffer(size);
        const size_t length = std::strftime(buffer.data(), buffer.size(), pattern.c_str(), &local);
        if (length > 0) return std::string(buffer.data(), length);
    }
    return "";
}

} // namespace oskit
