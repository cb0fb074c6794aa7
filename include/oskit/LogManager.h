#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "oskit/SingletonDll.h"
#include "panelkit/Export.h"

namespace oskit {

// Numbered levels of a log output.
enum ELogLevel {
    LOG_FATAL = 0,
    LOG_ALERT = 1,
    LOG_ERROR = 2,
    LOG_WARN = 3,
    LOG_NOTICE = 4,
    LOG_INFO = 5,
    LOG_DEBUG = 6
};

// A named log output. level(l) answers a stream for that level: below the
// active level it is a stream that formats nothing; otherwise each line
// written to it (ended by '\n' or std::endl) becomes one log entry
// "LEVEL Name: text". Streams are per thread.
class PANEL_API LogOutput {
public:
    explicit LogOutput(std::string name);
    ~LogOutput();
    std::ostream& level(int logLevel);
    const std::string& getName() const { return m_name; }

private:
    std::string m_name;
};

class PANEL_API LogManager : public SingletonDll<LogManager> {
public:
    // The output of this name, made on first use; it lives as long as the manager.
    LogOutput* getLogOutput(const std::string& name);

private:
    friend class SingletonDll<LogManager>;
    LogManager();
    ~LogManager();
    std::mutex m_mutex;
    std::map<std::string, std::unique_ptr<LogOutput>> m_outputs;
};

} // namespace oskit

namespace oskit {
// The one instance, kept in liboskit.
template <>
PANEL_API LogManager* SingletonDll<LogManager>::s_pInstance;
} // namespace oskit
