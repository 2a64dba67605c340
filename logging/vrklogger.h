// The one log of the module.
#pragma once

#include <cstdarg>
#include <cstdint>

// Level bits. A stream takes a line if its mask shares a bit with the line's level.
inline constexpr int kLogInfo = 1;
inline constexpr int kLogWarn = 2;
inline constexpr int kLogErr = 4;
inline constexpr int kLogCrit = 8;

// The module tag that every line of this add-in carries.
inline constexpr const char* kLogModule = "Outlook";

class CVRKLogger {
 public:
  CVRKLogger();
  virtual ~CVRKLogger();

  CVRKLogger(const CVRKLogger&) = delete;
  CVRKLogger& operator=(const CVRKLogger&) = delete;

  // Formats a line and offers it to the module's streams. 1 if the module has streams, even if
  // none takes the level; 0 otherwise. With nothing registered it costs one test.
  int Log(const char* module, int level, const char* format, ...)
      __attribute__((format(printf, 4, 5)));

  // Reads Logger.cfg from the system directory in place of all that is registered. 1 if the file
  // could be opened and every line that names a module made a stream.
  int LoadConfig();

  // True if the module has a stream. Asked before text is prepared that would only be logged.
  bool IsModuleLogged(const char* module) const;
};

// Built while the module loads, destroyed at its end.
extern CVRKLogger g_logger;
