#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "panelkit/Export.h"

// The one log backend behind both logging front ends (oskit::LogOutput and
// Norvane::Utilities::Logging). The host chooses the sink and the level.
namespace oskit::logbackend {

enum class Level { Debug = 0, Info = 1, Warn = 2, Error = 3, Alert = 4, Fatal = 5, Off = 6 };

// "DEBUG", "INFO", "WARN", "ERROR", "ALERT", "FATAL".
PANEL_API const char* levelName(Level level);

// The cheap test every statement makes first.
PANEL_API bool enabled(Level level);
PANEL_API void setLevel(Level level);
PANEL_API Level getLevel();

// One log entry: "LEVEL Category: message".
PANEL_API void emit(Level level, std::string_view category, std::string_view message);

// Sinks. Standard error is the default.
PANEL_API void useStderr();
PANEL_API bool useFile(const std::string& path);
PANEL_API void useSyslog(const std::string& ident);
PANEL_API void useNone();

// An observer that sees every emitted entry besides the sink (the reference
// host captures log lines through it). Empty function removes it.
using Observer = std::function<void(Level, std::string_view category, std::string_view message)>;
PANEL_API void setObserver(Observer observer);

} // namespace oskit::logbackend
