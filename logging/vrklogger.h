// The one log of the module.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>

#include "logging/linestamp.h"
#include "platform/widetext.h"

class CModuleLogInfo;

// Level bits. A stream takes a line if its mask shares a bit with the line's level.
inline constexpr int kLogInfo = 1;
inline constexpr int kLogWarn = 2;
inline constexpr int kLogErr = 4;
inline constexpr int kLogCrit = 8;

// The module tag that every line of this add-in carries.
inline constexpr const char* kLogModule = "Outlook";

// Keeps a registry of modules, each with its streams, and hands every line to those of the
// module's streams whose mask accepts it. A line reads
//
//   (thread) MM/DD/YYYY hh:mm:ss.mmm Module> Levl: message CR LF
//
// and is at most 2079 bytes long; a longer message is cut silently. The bytes of a message, UTF-8,
// go through unchanged. Names of modules and of stream types are compared without regard to the
// case of A to Z; a line shows the module's name as the caller wrote it. Names are kept to 16
// characters, so a longer one can be added but never be logged under.
//
// Results are 1 for success and 0 for failure. No operation reports a failure in another way, and
// callers need not look. Text arguments are NUL-terminated; null counts as empty.
//
// Threads: any thread may log. One lock covers the look-up, the line and the streams' work, so
// lines never interleave and a slow stream delays all. Lock order: this lock, then a file stream's
// mutex. Streams must not log. What is said to read without the lock is safe only while no other
// thread changes the registry; the add-in fills it once, before its first line.
class CVRKLogger {
 public:
  // Builds an empty registry, takes the computer's name and sets the runtime's locale to UTF-8.
  CVRKLogger();
  // Closes all streams. No call may be under way or come later.
  virtual ~CVRKLogger();

  CVRKLogger(const CVRKLogger&) = delete;
  CVRKLogger& operator=(const CVRKLogger&) = delete;

  // Formats a line as printf does and offers it to the module's streams. 1 if the module has
  // streams, even if none takes the level; 0 if not, or if the level is 0 or the format empty.
  // With nothing registered it costs one test, made without the lock.
  int Log(const char* module, int level, const char* format, ...)
      __attribute__((format(printf, 4, 5)));

  // The same for an argument list, which is used up.
  int LogV(const char* module, int level, const char* format, std::va_list arguments)
      __attribute__((format(printf, 4, 0)));

  // Hands the text as it is, without prefix and line end, to the streams that accept the level.
  // 1 if the module has streams. Looks the module up without the lock.
  int LogRaw(const char* module, int level, const char* text);

  // Makes a stream and puts it at the head of the module's chain, so that it is offered a line
  // before those added earlier; registers the module if need be. Types and parameters:
  //   "File"  path and file name without extension, UTF-8; "." and the computer's name follow it
  //   "Dbg"   not looked at, may be null
  //   "UDP"   dotted IPv4 address, then ":" and a port if it isn't 514
  // 0, with nothing registered, for an empty module or type, a mask below 1, an unknown type, a
  // missing parameter and a file name that isn't valid UTF-8.
  int AddStream(const char* module, int mask, const char* type, const char* parameter);

  // Reads Logger.cfg from the system directory as LoadConfigFile does. 0 also if the directory
  // can't be had. The first call of the add-in's life; its result is ignored there.
  int LoadConfig();

  // Puts what the file says in place of all that is registered. 1 if the file could be opened and
  // each line that names a module made a stream, so also for an empty file. A line that is refused
  // makes the result 0 and the reading goes on. A file that can't be opened changes nothing.
  // `path` is in the system's ANSI code page.
  int LoadConfigFile(const char* path);

  // 1 if the module is registered already; otherwise LoadModuleConfigFile for Logger.cfg in the
  // system directory. 0 if the module is null or the directory can't be had.
  int LoadModuleConfig(const char* module);

  // Adds the stream of the file's first line for the module and keeps what is registered. 1 if that
  // line made a stream; 0 otherwise, also if there is no such line.
  int LoadModuleConfigFile(const char* path, const char* module);

  // The module's entry, or null. Takes no lock: callers hold it.
  CModuleLogInfo* FindModule(const char* module) const;

  // True if the module has a stream. Asked before text is prepared that would only be logged.
  // Takes no lock.
  bool IsModuleLogged(const char* module) const;

  // Switches all of the module's streams of that type on (not 0) or off (0). 1 if there was one.
  // Looks the module up without the lock.
  int SetStreamEnabled(const char* module, const char* type, std::int32_t enabled);

  // The union of the masks of the module's streams of that type, and the switch of the one added
  // first. 1 if there was one; otherwise the outputs are untouched. Looks the module up without
  // the lock.
  int GetStreamState(const char* module, const char* type, std::uint32_t* mask,
                     std::int32_t* enabled);

  // Closes and forgets all streams and modules.
  void RemoveAllModules();

  // The four characters that stand for a level in a line: "Crit", "Err ", "Warn" or "Info", the
  // gravest bit counting; "All " for a level with all bits of 0x300F, "None" without any of the
  // four.
  static const char* LevelName(int level);

 protected:
  // One buffer serves all threads, since it is used only under the lock.
  static constexpr std::size_t kLineSize = 2080;

  // Written only under the lock. Atomic, so that the tests for an empty registry may read it
  // without.
  std::atomic<CModuleLogInfo*> m_pModules = nullptr;
  std::mutex m_cs;
  char m_szLine[kLineSize] = {};
  platform::WideChar m_wszComputerName[16] = {};
  // The file parameters read from configuration files. Kept for whoever looks; not read here.
  std::set<platform::WideString> m_logFiles;

 private:
  void FormatLine(const char* module, int level, const char* format, std::va_list arguments)
      __attribute__((format(printf, 4, 0)));

  logging::LineStamp m_stamp;
};

// Built while the module loads, destroyed at its end. A line logged before it is built is dropped.
extern CVRKLogger g_logger;
