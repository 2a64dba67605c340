// The module's log.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "logging/linestamp.h"
#include "platform/widetext.h"

class CModuleLogInfo;

// Level bits. A stream accepts a line if its mask and the line's level share a bit.
inline constexpr int kLogInfo = 1;
inline constexpr int kLogWarn = 2;
inline constexpr int kLogErr = 4;
inline constexpr int kLogCrit = 8;

// The add-in's module name in every line.
inline constexpr const char* kLogModule = "Outlook";

// Keeps a registry of modules and their streams, and writes each line to the streams of its module
// whose mask accepts the level. A line has the form
//
//   (thread) MM/DD/YYYY hh:mm:ss.mmm Module> Levl: message CR LF
//
// and at most 2079 bytes; longer messages are cut. Messages are UTF-8 and written unchanged. Module
// and type names ignore the case of A to Z; a line shows the module as the caller spelled it. Names
// are cut to 16 characters, so a longer one can be added but never matches.
//
// Operations return 1 for success and 0 for failure; callers need not check. Text arguments are
// NUL-terminated; null counts as empty.
//
// Any thread may log. One lock covers lookup, formatting and streams, so lines never interleave and
// a slow stream delays all. The thread that holds it may log again; the line of a stream that logs
// is replaced for the streams after it. Lock order: this lock, then a file stream's mutex.
// Operations that read without the lock are safe only while no other thread changes the registry;
// the add-in fills it once, before its first line.
class CVRKLogger {
 public:
  // Creates an empty registry, reads the computer's name and sets the runtime's locale to UTF-8.
  CVRKLogger();
  // Closes all streams. No other call may be active or follow.
  virtual ~CVRKLogger();

  CVRKLogger(const CVRKLogger&) = delete;
  CVRKLogger& operator=(const CVRKLogger&) = delete;

  // Formats a line like printf and offers it to the module's streams. Returns 1 if the module has
  // streams, even if none accepts the level; otherwise 0, also for level 0 and an empty format.
  // While the registry is empty, it returns at once, without locking.
  int Log(const char* module, int level, const char* format, ...)
      __attribute__((format(printf, 4, 5)));

  // The same for an argument list, which is consumed.
  int LogV(const char* module, int level, const char* format, std::va_list arguments)
      __attribute__((format(printf, 4, 0)));

  // Offers the text unchanged, without prefix and line end. Returns 1 if the module has streams.
  // Looks up the module without the lock.
  int LogRaw(const char* module, int level, const char* text);

  // Creates a stream and puts it first in the module's chain, so that it gets lines before older
  // streams. Registers the module if necessary. Types and parameters:
  //   "File"  path and file name without extension, UTF-8; "." and the computer's name are appended
  //   "Dbg"   ignored, may be null
  //   "UDP"   dotted IPv4 address, optionally ":" and a port; the default is 514
  // Returns 0 and registers nothing for an empty module or type, a mask below 1, an unknown type, a
  // missing parameter, and a file name that isn't valid UTF-8.
  int AddStream(const char* module, int mask, const char* type, const char* parameter);

  // Calls LoadConfigFile for Logger.cfg in the system directory. Returns 0 if that directory is
  // unknown. The add-in calls this first and ignores the result.
  int LoadConfig();

  // Replaces the registry by the contents of the file at `path` (ANSI code page). Returns 1 if the
  // file could be opened and every line with a module created a stream, so also for an empty file.
  // A rejected line makes the result 0 and the next line follows. If the file can't be opened,
  // nothing changes.
  int LoadConfigFile(const char* path);

  // Returns 1 if the module is registered; otherwise the result of LoadModuleConfigFile for
  // Logger.cfg in the system directory. Returns 0 if the module is null or the directory unknown.
  int LoadModuleConfig(const char* module);

  // Adds the stream of the first line for this module and keeps all others. Returns 1 if that line
  // created a stream; otherwise 0, also if there is no such line.
  int LoadModuleConfigFile(const char* path, const char* module);

  // The module's entry, or null. Doesn't lock: the caller does.
  CModuleLogInfo* FindModule(const char* module) const;

  // True if the module has a stream. Check this before preparing text that is only logged. Doesn't
  // lock.
  bool IsModuleLogged(const char* module) const;

  // Enables (not 0) or disables (0) all streams of that type. Returns 1 if there is one. Looks up
  // the module without the lock.
  int SetStreamEnabled(const char* module, const char* type, std::int32_t enabled);

  // The combined masks of the module's streams of that type, and the enabled flag of the oldest
  // one. Returns 1 if there is one; otherwise leaves the outputs unchanged. Either output may be
  // null. Looks up the module without the lock.
  int GetStreamState(const char* module, const char* type, std::uint32_t* mask,
                     std::int32_t* enabled);

  // Closes all streams and empties the registry.
  void RemoveAllModules();

  // The name of a level in a line: "Crit", "Err ", "Warn" or "Info" by the most severe bit, "All "
  // for all bits of 0x300F, "None" without any of the four.
  static const char* LevelName(int level);

 protected:
  // One buffer for all threads, used under the lock only.
  static constexpr std::size_t kLineSize = 2080;

  // Written under the lock only. Atomic because the check for an empty registry doesn't lock.
  std::atomic<CModuleLogInfo*> m_pModules = nullptr;
  // The same thread may lock it again, so that a stream whose work leads to another line doesn't
  // hang. Optional, because it is destroyed before the modules.
  std::optional<std::recursive_mutex> m_cs{std::in_place};
  char m_szLine[kLineSize] = {};
  platform::WideChar m_wszComputerName[16] = {};
  // The file parameters from configuration files. Nothing here reads them.
  std::set<platform::WideString> m_logFiles;

 private:
  void FormatLine(const char* module, int level, const char* format, std::va_list arguments)
      __attribute__((format(printf, 4, 0)));

  logging::LineStamp m_stamp;
};

// Constructed while the module loads, destroyed while it unloads. Earlier lines are dropped.
extern CVRKLogger g_logger;
